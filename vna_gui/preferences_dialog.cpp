#include "preferences_dialog.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <cmath>

#include "color_prefs.h"
#include "preferences.h"

namespace
{
enum Page
{
    GeneralPage,
    ColorsPage,
    LanguagePage,
    ScpiPage
};

// The options shown as check boxes, by page, with the key they are stored under (also the
// control's object name).
struct BoolOption
{
    Page page;
    const char* key;
    const char* label;
    const char* tip;
    bool Preferences::*field;
};

const BoolOption kBoolOptions[] = {
    {GeneralPage, "TraceAntialiasing", QT_TRANSLATE_NOOP("PreferencesDialog", "Trace Anti-aliasing"),
     nullptr, &Preferences::traceAntialiasing},
    {GeneralPage, "GraticuleDotted", QT_TRANSLATE_NOOP("PreferencesDialog", "Graticule Dotted"),
     QT_TRANSLATE_NOOP("PreferencesDialog", "Draw the graticule lines as dotted lines."),
     &Preferences::graticuleDotted},
    {GeneralPage, "HighlightActivePlot",
     QT_TRANSLATE_NOOP("PreferencesDialog", "Highlight Active Plot"),
     QT_TRANSLATE_NOOP("PreferencesDialog",
                       "Highlight the plot containing the selected trace. Only occurs when more "
                       "than 1 plot is visible."),
     &Preferences::highlightActivePlot},
    {GeneralPage, "ShowSweepIndicator",
     QT_TRANSLATE_NOOP("PreferencesDialog", "Show Sweep Indicator"),
     QT_TRANSLATE_NOOP("PreferencesDialog",
                       "Draw the sweep indicator to show the current trace position."),
     &Preferences::showSweepIndicator},
    {GeneralPage, "ConfirmPreset",
     QT_TRANSLATE_NOOP("PreferencesDialog", "Show Preset Confirmation Dialog"), nullptr,
     &Preferences::confirmPreset},
    {GeneralPage, "ShowStdSelectorOneStd",
     QT_TRANSLATE_NOOP("PreferencesDialog", "Show Standard Selection With One Standard"),
     QT_TRANSLATE_NOOP("PreferencesDialog",
                       "Show the standard selection dialog during a calibration even if there is "
                       "only one standard associated with the measured class."),
     &Preferences::showStdSelectorOneStd},
    {GeneralPage, "OnPresetPowerOn",
     QT_TRANSLATE_NOOP("PreferencesDialog", "On Startup/Preset: RF Out Enabled"), nullptr,
     &Preferences::onPresetPowerOn},
    {GeneralPage, "ControlPanelsInScreenshotEnabled",
     QT_TRANSLATE_NOOP("PreferencesDialog", "Include Control Panels in Screenshot"), nullptr,
     &Preferences::controlPanelsInScreenshot},
    {ScpiPage, "SCPIPrefs/Enabled", QT_TRANSLATE_NOOP("PreferencesDialog", "SCPI Enabled"),
     nullptr, &Preferences::scpiEnabled},
    {ScpiPage, "SCPIPrefs/LockoutDialogEnabled",
     QT_TRANSLATE_NOOP("PreferencesDialog", "Lockout Dialog Enabled"), nullptr,
     &Preferences::scpiLockoutDialogEnabled},
    {ScpiPage, "SCPIPrefs/LogEnabled", QT_TRANSLATE_NOOP("PreferencesDialog", "Log Enabled"),
     nullptr, &Preferences::scpiLogEnabled},
    {ScpiPage, "SCPIPrefs/LogIsFIFO", QT_TRANSLATE_NOOP("PreferencesDialog", "Log FIFO Mode"),
     nullptr, &Preferences::scpiLogIsFIFO},
};

const char kUseFactoryCal[] = "UseFactoryCal";
const char kTraceThickness[] = "TraceThickness";
const char kGraticuleWidth[] = "GraticuleWidth";
const char kFontSize[] = "FontSize";
const char kPort[] = "SCPIPrefs/Port";
const char kLogEntries[] = "SCPIPrefs/LogMaxEntries";
const char kLogLength[] = "SCPIPrefs/LogMaxMessageLength";

// The colour buttons' labels, in the order of ColorPrefs::Defaults; the traces follow.
const char* const kColorLabels[] = {
    QT_TRANSLATE_NOOP("PreferencesDialog", "Accent"),
    QT_TRANSLATE_NOOP("PreferencesDialog", "Background"),
    QT_TRANSLATE_NOOP("PreferencesDialog", "Active Background"),
    QT_TRANSLATE_NOOP("PreferencesDialog", "Text"),
    QT_TRANSLATE_NOOP("PreferencesDialog", "Graticule")};
constexpr int kFixedColors = 5;

int ToInt(const KXLineEdit* e)
{
    return int(std::lround(e->Value()));
}

QLabel* Note(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}
}  // namespace

PreferencesDialog::PreferencesDialog(QWidget* parent) : KXDialog(tr("Preferences"), parent)
{
    auto* stack = new QStackedWidget(this);
    auto* category = new QGroupBox(tr("Category"), this);
    categoryColumn = new QVBoxLayout(category);
    auto* pages = new QButtonGroup(this);
    pages->setExclusive(true);
    AddPage(stack, QT_TR_NOOP("General"), BuildGeneralPage());
    AddPage(stack, QT_TR_NOOP("Colors"), BuildColorsPage());
    AddPage(stack, QT_TR_NOOP("Language"), BuildLanguagePage());
    AddPage(stack, QT_TR_NOOP("SCPI"), BuildScpiPage());
    for (int i = 0; i < categoryColumn->count(); ++i)
    {
        pages->addButton(qobject_cast<QPushButton*>(categoryColumn->itemAt(i)->widget()), i);
    }
    pages->button(GeneralPage)->setChecked(true);
    categoryColumn->addStretch();
    connect(pages, &QButtonGroup::idClicked, stack, &QStackedWidget::setCurrentIndex);

    auto* reset = new KXPushButton(tr("Reset Preferences"), this);
    reset->setObjectName(QStringLiteral("ResetPreferences"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->addButton(reset, QDialogButtonBox::ResetRole);
    connect(reset, &QPushButton::clicked, this, &PreferencesDialog::clearPreferences);
    connect(buttons, &QDialogButtonBox::accepted, this, &PreferencesDialog::acceptPressed);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* row = new QHBoxLayout;
    row->addWidget(category);
    row->addWidget(stack, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(row);
    layout->addWidget(buttons);
}

void PreferencesDialog::AddPage(QStackedWidget* stack, const char* title, QWidget* page)
{
    page->setObjectName(QStringLiteral("KX_Page"));
    stack->addWidget(page);
    auto* button = new KXPushButton(tr(title), this);
    button->setCheckable(true);
    categoryColumn->addWidget(button);
}

void PreferencesDialog::AddCheckBoxes(QFormLayout* form, int page)
{
    const Preferences& prefs = Preferences::Get();
    for (const BoolOption& o : kBoolOptions)
    {
        if (o.page != page)
        {
            continue;
        }
        auto* box = new QCheckBox(form->parentWidget());
        box->setObjectName(QLatin1String(o.key));
        box->setChecked(prefs.*o.field);
        if (o.tip)
        {
            box->setToolTip(tr(o.tip));
        }
        form->addRow(tr(o.label), box);
        checks.insert(QLatin1String(o.key), box);
    }
}

KXLineEdit* PreferencesDialog::AddNumber(QFormLayout* form, const char* key, const QString& label,
                                         double value, double minimum, double maximum,
                                         int decimals)
{
    auto* e = new KXLineEdit(KXLineEdit::Number, form->parentWidget());
    e->setObjectName(QLatin1String(key));
    e->SetRange(minimum, maximum);
    e->SetDecimals(decimals);
    e->SetValue(value);
    form->addRow(label, e);
    numbers.insert(QLatin1String(key), e);
    return e;
}

QWidget* PreferencesDialog::BuildGeneralPage()
{
    const Preferences& prefs = Preferences::Get();
    auto* page = new QWidget(this);
    auto* form = new QFormLayout(page);
    AddNumber(form, kTraceThickness, tr("Trace Thickness"), prefs.traceThickness, 0.5, 10.0, 1);
    AddNumber(form, kGraticuleWidth, tr("Graticule Width"), prefs.graticuleWidth, 0.5, 10.0, 1);
    AddCheckBoxes(form, GeneralPage);
    powerLevel = new KXComboBox(page);
    powerLevel->setObjectName(QStringLiteral("OnPresetPowerLevel"));
    for (int p = VNAPowerHigh; p <= VNAPowerManualPower; ++p)
    {
        powerLevel->AddItem(VNAPowerToString(VNAPowerConfig(p)), p);
    }
    powerLevel->SetByData(int(prefs.onPresetPowerLevel));
    form->addRow(tr("On Startup/Preset: Power Level"), powerLevel);
    AddNumber(form, kFontSize, tr("Font Size*"), prefs.fontSize, 6, 32, 0);
    panelLocation = new KXComboBox(page);
    panelLocation->setObjectName(QStringLiteral("ControlPanelOrientation"));
    panelLocation->AddItem(tr("Right Side"), 0);
    panelLocation->AddItem(tr("Left Side"), 1);
    panelLocation->SetByData(prefs.controlPanelOrientation);
    form->addRow(tr("Control Panel Location"), panelLocation);
    auto* factory = new QCheckBox(page);
    factory->setObjectName(QLatin1String(kUseFactoryCal));
    factory->setChecked(prefs.UseFactoryCal());
    form->addRow(tr("Use Factory Cal"), factory);
    checks.insert(QLatin1String(kUseFactoryCal), factory);
    form->addRow(Note(tr("*This setting requires a software restart to take effect."), page));
    return page;
}

QWidget* PreferencesDialog::BuildColorsPage()
{
    auto* page = new QWidget(this);
    auto* grid = new QGridLayout(page);
    const ColorPrefs& c = ColorPrefs::Get();
    QVector<QColor> present = {c.accent, c.background, c.activeBackground, c.text, c.graticule};
    for (int i = 0; i < ColorPrefs::kTraceColorCount; ++i)
    {
        present.append(c.GetTraceColor(i));
    }
    for (int i = 0; i < present.size(); ++i)
    {
        const QString label = i < kFixedColors ? tr(kColorLabels[i])
                                               : tr("Trace %1").arg(i - kFixedColors + 1);
        auto* button = new KXColorButton(present[i], page);
        button->setObjectName(QStringLiteral("Color%1").arg(i));
        // Two columns: the fixed colours on the left, the traces on the right.
        const int column = i < kFixedColors ? 0 : 2;
        const int row = i < kFixedColors ? i : i - kFixedColors;
        grid->addWidget(new QLabel(label, page), row, column);
        grid->addWidget(button, row, column + 1);
        colors.append(button);
    }
    auto* restore = new KXPushButton(tr("Restore Defaults"), page);
    restore->setObjectName(QStringLiteral("RestoreDefaults"));
    grid->addWidget(restore, ColorPrefs::kTraceColorCount, 0, 1, 2);
    grid->setRowStretch(ColorPrefs::kTraceColorCount + 1, 1);
    connect(restore, &QPushButton::clicked, this, &PreferencesDialog::restoreDefaultColors);
    return page;
}

QWidget* PreferencesDialog::BuildLanguagePage()
{
    auto* page = new QWidget(this);
    auto* form = new QFormLayout(page);
    language = new KXComboBox(page);
    language->setObjectName(QStringLiteral("Language"));
    language->AddItem(tr("Use Default Language"), QStringLiteral("Default"));
    language->AddItem(tr("English (en)"), QStringLiteral("en"));
    language->AddItem(tr("German (de)"), QStringLiteral("de"));
    const QString present = Preferences::Get().language;
    if (!language->SetByData(present))
    {
        // A code this list does not offer stays as it is unless another is chosen.
        language->AddItem(present, present);
        language->SetByData(present);
    }
    form->addRow(tr("Select Language"), language);
    form->addRow(Note(tr("Note: Will require software restart to take effect."), page));
    return page;
}

QWidget* PreferencesDialog::BuildScpiPage()
{
    const Preferences& prefs = Preferences::Get();
    auto* page = new QWidget(this);
    auto* form = new QFormLayout(page);
    AddCheckBoxes(form, ScpiPage);
    AddNumber(form, kPort, tr("IP Port"), prefs.scpiPort, 1, 65535, 0);
    AddNumber(form, kLogEntries, tr("Log Max Entries"), prefs.scpiLogMaxEntries, 1, 65535, 0);
    AddNumber(form, kLogLength, tr("Log Max Message Length"), prefs.scpiLogMaxMessageLength, 1,
              65535, 0);
    form->addRow(Note(tr("*When enabled, newer messages replace the oldest."), page));
    return page;
}

void PreferencesDialog::ShowColors(const QVector<QColor>& list)
{
    for (int i = 0; i < colors.size() && i < list.size(); ++i)
    {
        colors[i]->SetColor(list[i]);
    }
}

void PreferencesDialog::restoreDefaultColors()
{
    ShowColors(ColorPrefs::Defaults(Preferences::Get().GetProgramStyle() == KXStyleDark));
}

void PreferencesDialog::acceptPressed()
{
    Preferences& prefs = Preferences::Get();
    for (const BoolOption& o : kBoolOptions)
    {
        prefs.*o.field = checks.value(QLatin1String(o.key))->isChecked();
    }
    prefs.SetUseFactoryCal(checks.value(QLatin1String(kUseFactoryCal))->isChecked());
    prefs.traceThickness = numbers.value(QLatin1String(kTraceThickness))->Value();
    prefs.graticuleWidth = numbers.value(QLatin1String(kGraticuleWidth))->Value();
    prefs.fontSize = ToInt(numbers.value(QLatin1String(kFontSize)));
    prefs.scpiPort = ToInt(numbers.value(QLatin1String(kPort)));
    prefs.scpiLogMaxEntries = ToInt(numbers.value(QLatin1String(kLogEntries)));
    prefs.scpiLogMaxMessageLength = ToInt(numbers.value(QLatin1String(kLogLength)));
    prefs.onPresetPowerLevel = VNAPowerConfig(powerLevel->GetCurrentData().toInt());
    prefs.controlPanelOrientation = panelLocation->GetCurrentData().toInt();
    prefs.language = language->GetCurrentData().toString();

    ColorPrefs& c = ColorPrefs::Get();
    c.accent = colors[0]->Color();
    c.background = colors[1]->Color();
    c.activeBackground = colors[2]->Color();
    c.text = colors[3]->Color();
    c.graticule = colors[4]->Color();
    for (int i = 0; i < ColorPrefs::kTraceColorCount; ++i)
    {
        c.SetTraceColor(i, colors[kFixedColors + i]->Color());
    }
    accept();
}

void PreferencesDialog::clearPreferences()
{
    Preferences::Get().Clear();
    if (!Hidden::Get())
    {
        QMessageBox::information(this, tr("Restart Application"),
                                 tr("The default application settings will be restored the next "
                                    "time the application is started."));
    }
}
