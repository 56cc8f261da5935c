// Themes: the style sheets and their variables, the accent shades, and the look of the window in
// each theme, judged from rendered pixels.
#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QHash>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QRegularExpression>
#include <QStackedWidget>
#include <QToolBar>
#include <QtTest>
#include <cmath>
#include <functional>

#include "color_prefs.h"
#include "control_panels.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "preferences.h"
#include "status_bar.h"
#include "style_manager.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_plot.h"

namespace
{
QString ReadText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

// WCAG 2 relative luminance of an sRGB colour.
double Luminance(QRgb c)
{
    auto channel = [](int v)
    {
        const double s = v / 255.0;
        return s <= 0.03928 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(qRed(c)) + 0.7152 * channel(qGreen(c)) + 0.0722 * channel(qBlue(c));
}

double Contrast(QRgb a, QRgb b)
{
    const double la = Luminance(a);
    const double lb = Luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QRgb MostFrequent(const QImage& img, const QRect& r)
{
    QHash<QRgb, int> count;
    for (int y = r.top(); y <= r.bottom(); ++y)
    {
        for (int x = r.left(); x <= r.right(); ++x)
        {
            ++count[img.pixel(x, y) | 0xff000000u];
        }
    }
    QRgb best = 0;
    int most = -1;
    for (auto it = count.constBegin(); it != count.constEnd(); ++it)
    {
        if (it.value() > most)
        {
            most = it.value();
            best = it.key();
        }
    }
    return best;
}

// The text of a rendered label, read as runs of inked columns (words, or colour runs of rich
// text) separated by at least three background columns. Each run's text colour is its pixel of
// highest contrast against the background, the core of a glyph stroke; the worst run decides.
// Returns 0 when nothing is inked.
double WorstTextContrast(const QImage& img, const QRect& r, QRgb* background = nullptr)
{
    const QRgb bg = MostFrequent(img, r);
    if (background)
    {
        *background = bg;
    }
    double worst = 0.0;
    double run = 0.0;
    int runWidth = 0;
    int gap = 0;
    auto closeRun = [&]
    {
        if (runWidth >= 3)
        {
            worst = worst == 0.0 ? run : std::min(worst, run);
        }
        run = 0.0;
        runWidth = 0;
    };
    for (int x = r.left(); x <= r.right(); ++x)
    {
        double column = 1.0;
        for (int y = r.top(); y <= r.bottom(); ++y)
        {
            column = std::max(column, Contrast(img.pixel(x, y), bg));
        }
        if (column > 1.2)
        {
            run = std::max(run, column);
            ++runWidth;
            gap = 0;
        }
        else if (++gap >= 3 && runWidth > 0)
        {
            closeRun();
        }
    }
    closeRun();
    return worst;
}

QRect RectIn(QWidget* w, QWidget* top)
{
    return QRect(w->mapTo(top, QPoint(0, 0)), w->size()) & top->rect();
}
}  // namespace

class TestTheme : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void styleSheetsDefineEveryVariable();
    void variablesAccentAndQuietMode();
    void windowTextIsReadableInEachTheme();
    void themeSwitchRecoloursPlotsAndIcons();
    void unavailableControlsExplainWhy();
    void cleanupTestCase();

private:
    void CheckWindowContrast(const char* theme);
    VnaLib none;
    MainWindow* window = nullptr;
};

void TestTheme::initTestCase()
{
    testfx::IsolateUserFiles();
    Q_INIT_RESOURCE(resources);
    Preferences::Get().scpiPort = 0;  // any free port: other tests may hold the usual one
    testfx::ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
    window = new MainWindow(nullptr, &none);
    window->resize(1400, 900);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
}

void TestTheme::cleanupTestCase()
{
    window->close();
    delete window;
}

void TestTheme::styleSheetsDefineEveryVariable()
{
    const QString base = ReadText(QStringLiteral(":resources/style_sheet_base.css"));
    QVERIFY(!base.isEmpty());
    QSet<QString> used;
    QRegularExpressionMatchIterator it =
        QRegularExpression(QStringLiteral("var\\((--[\\w-]+)\\)")).globalMatch(base);
    while (it.hasNext())
    {
        used.insert(it.next().captured(1));
    }
    QVERIFY(used.size() > 10);
    // The names every variable sheet defines; the accent shades come from the colour preferences.
    QStringList required = {
        "--black",         "--white",        "--gray-1",       "--gray-2",
        "--contrast-high", "--contrast-mid", "--contrast-low", "--preset-border",
        "--check-select",  "--close",        "--arrow_up",     "--arrow_down",
        "--up-arrow",      "--down-arrow",   "--left-arrow",   "--right-arrow"};
    for (int i = 1; i <= 8; ++i)
    {
        required << QStringLiteral("--controls-neutral-%1").arg(i);
    }
    for (int i = 1; i <= 10; ++i)
    {
        required << QStringLiteral("--controls-tone-%1").arg(i);
    }
    for (int i = 1; i <= 3; ++i)
    {
        required << QStringLiteral("--select-%1").arg(i) << QStringLiteral("--preset-%1").arg(i);
    }
    for (const char* theme : {"dark", "light"})
    {
        const QString sheet =
            ReadText(QStringLiteral(":resources/style_sheet_%1.css").arg(QLatin1String(theme)));
        StyleManager::IngestStyleVariables(sheet);
        for (const QString& name : required)
        {
            QVERIFY2(!StyleManager::Variable(name).isEmpty(),
                     qPrintable(QStringLiteral("%1 misses %2").arg(theme, name)));
        }
        StyleManager::SetAccentColor(QLatin1String(theme) == "dark" ? KXStyleDark : KXStyleLight);
        for (const QString& name : used)
        {
            QVERIFY2(!StyleManager::Variable(name).isEmpty(),
                     qPrintable(QStringLiteral("%1 misses %2").arg(theme, name)));
        }
        const QString generated = StyleManager::GenerateStylesheet(base);
        QVERIFY2(!generated.contains(QLatin1String("var(")), theme);
        // Every image the theme names exists, is drawn for that theme and loads.
        QRegularExpressionMatchIterator urls =
            QRegularExpression(QStringLiteral("url\\(([^)]+)\\)")).globalMatch(generated);
        int images = 0;
        while (urls.hasNext())
        {
            const QString path = urls.next().captured(1);
            QVERIFY2(!QImage(path).isNull(), qPrintable(path));
            QVERIFY2(path.contains(QStringLiteral("-%1").arg(QLatin1String(theme))),
                     qPrintable(path));
            ++images;
        }
        QVERIFY(images >= 8);
    }
}

void TestTheme::variablesAccentAndQuietMode()
{
    // A value's own colons survive; a sheet without a root block changes nothing.
    StyleManager::IngestStyleVariables(QStringLiteral(
        ":root {\n --x-img: url(:resources/x-small-dark.png);\n --y: rgb(1,2,3);\n}"));
    QCOMPARE(StyleManager::Variable("--x-img"), QStringLiteral("url(:resources/x-small-dark.png)"));
    QCOMPARE(StyleManager::Variable("--y"), QStringLiteral("rgb(1,2,3)"));
    const QHash<QString, QString> before = StyleManager::Variables();
    StyleManager::IngestStyleVariables(QStringLiteral("QLabel { color: red; }"));
    QCOMPARE(StyleManager::Variables(), before);
    QCOMPARE(StyleManager::GenerateStylesheet("a { color: var(--y); b: var(--nowhere); }"),
             QStringLiteral("a { color: rgb(1,2,3); b: var(--nowhere); }"));

    // A new accent moves the four shades and nothing else; the shades are the accent's value
    // scaled down (HSV), computed here by hand.
    StyleManager::SetMode(KXStyleDark, true);
    const QHash<QString, QString> dark = StyleManager::Variables();
    const QColor accent(200, 90, 30);
    ColorPrefs::Get().accent = accent;
    StyleManager::SetMode(KXStyleDark, true);
    const QHash<QString, QString> after = StyleManager::Variables();
    QCOMPARE(after.keys().size(), dark.keys().size());
    for (auto it = dark.constBegin(); it != dark.constEnd(); ++it)
    {
        if (!it.key().startsWith(QLatin1String("--accent-")))
        {
            QCOMPARE(after.value(it.key()), it.value());
        }
    }
    // Qt keeps 16 bits a channel inside: a channel may round one step apart from this.
    auto scaled = [&](int factor)
    {
        const QColor hsv = accent.toHsv();
        return QColor::fromHsv(hsv.hsvHue(), hsv.hsvSaturation(), hsv.value() * 100 / factor);
    };
    auto near = [](const QString& name, const QColor& expected)
    {
        const QColor c(name);
        return std::abs(c.red() - expected.red()) <= 1 &&
               std::abs(c.green() - expected.green()) <= 1 &&
               std::abs(c.blue() - expected.blue()) <= 1;
    };
    QCOMPARE(after.value("--accent-1"), accent.name());
    QVERIFY(near(after.value("--accent-2"), scaled(165)));
    QVERIFY(near(after.value("--accent-3"), scaled(180)));
    QCOMPARE(after.value("--accent-4"), QStringLiteral("#222222"));
    StyleManager::SetMode(KXStyleLight, true);
    QVERIFY(near(StyleManager::Variable("--accent-1"), scaled(180)));
    QVERIFY(near(StyleManager::Variable("--accent-2"), scaled(115)));
    QCOMPARE(StyleManager::Variable("--accent-3"), accent.name());
    QVERIFY(near(StyleManager::Variable("--accent-4"), QColor::fromHsv(accent.hsvHue(), 20, 235)));

    // The "Loading style.." box shows only when not quiet.
    testfx::ModalAnswerer answer;
    StyleManager::Update(true);
    QCoreApplication::processEvents();
    QVERIFY(answer.titles.isEmpty());
    QStringList shown;
    class BoxWatch : public QObject
    {
    public:
        explicit BoxWatch(QStringList& l) : log(l) {}
        bool eventFilter(QObject* o, QEvent* e) override
        {
            if (e->type() == QEvent::Show)
            {
                if (auto* box = qobject_cast<QMessageBox*>(o))
                {
                    log << box->windowTitle() + QLatin1Char('|') + box->text();
                }
            }
            return false;
        }
        QStringList& log;
    } watch(shown);
    qApp->installEventFilter(&watch);
    StyleManager::Update(true);
    QVERIFY(shown.isEmpty());
    StyleManager::Update(false);
    qApp->removeEventFilter(&watch);
    QCOMPARE(shown, QStringList{QStringLiteral("Styles|Loading style..")});
    ColorPrefs::Get().LoadDefaultsDark();
}

void TestTheme::CheckWindowContrast(const char* theme)
{
    VNAStatusBar* bar = window->StatusBar();
    for (bool warn : {false, true})
    {
        bar->SetDiagnostics(1.25, warn ? 71.5 : 40.0, 3.5, warn);
        QCoreApplication::processEvents();
        const QImage img = window->grab().toImage();
        int labels = 0;
        for (QLabel* l : bar->findChildren<QLabel*>())
        {
            if (!l->isVisible() || l->text().isEmpty())
            {
                continue;
            }
            const double c = WorstTextContrast(img, RectIn(l, window));
            QVERIFY2(c >= 4.5, qPrintable(QStringLiteral("%1 theme, status bar \"%2\": %3")
                                              .arg(theme, l->text())
                                              .arg(c)));
            ++labels;
        }
        QVERIFY(labels >= 2);
    }
    // Every enabled label of every panel.
    for (int i = 0; i < MainWindow::kPanelCount; ++i)
    {
        window->panelButtonClicked(i);
        QCoreApplication::processEvents();
        const QImage img = window->grab().toImage();
        for (QLabel* l : window->Panel(i)->findChildren<QLabel*>())
        {
            if (!l->isVisible() || !l->isEnabled() || l->text().trimmed().isEmpty() ||
                !l->pixmap(Qt::ReturnByValue).isNull())
            {
                continue;
            }
            const double c = WorstTextContrast(img, RectIn(l, window));
            QVERIFY2(c >= 4.5, qPrintable(QStringLiteral("%1 theme, panel %2, \"%3\": %4")
                                              .arg(theme)
                                              .arg(i)
                                              .arg(l->text())
                                              .arg(c)));
        }
    }
}

void TestTheme::windowTextIsReadableInEachTheme()
{
    // The dark theme is what a first start shows.
    QCOMPARE(Preferences::Get().GetProgramStyle(), KXStyleDark);
    window->setDarkTheme();
    QRgb barBackground = 0;
    QImage img = window->grab().toImage();
    WorstTextContrast(img, RectIn(window->StatusBar(), window), &barBackground);
    QVERIFY(Luminance(barBackground) < 0.1);
    CheckWindowContrast("dark");

    window->setLightTheme();
    img = window->grab().toImage();
    WorstTextContrast(img, RectIn(window->StatusBar(), window), &barBackground);
    QVERIFY(Luminance(barBackground) > 0.5);
    CheckWindowContrast("light");
    window->setDarkTheme();
}

void TestTheme::themeSwitchRecoloursPlotsAndIcons()
{
    VNAPlot* plot = window->findChild<VNAPlot*>();
    QVERIFY(plot);
    auto plotBackground = [&]
    {
        window->updatePlots();
        QCoreApplication::processEvents();
        const QImage img = plot->grab().toImage();
        return QColor(MostFrequent(img, img.rect()));
    };
    auto iconLightness = [&]
    {
        // The toolbar's icons: light strokes on the dark theme, dark strokes on the light one.
        double sum = 0.0;
        int n = 0;
        for (QAction* a : window->findChildren<QAction*>())
        {
            if (a->icon().isNull())
            {
                continue;
            }
            const QImage i = a->icon().pixmap(32, 32).toImage();
            for (int y = 0; y < i.height(); ++y)
            {
                for (int x = 0; x < i.width(); ++x)
                {
                    if (qAlpha(i.pixel(x, y)) > 200)
                    {
                        sum += QColor(i.pixel(x, y)).lightnessF();
                        ++n;
                    }
                }
            }
        }
        return n > 0 ? sum / n : -1.0;
    };
    window->setLightTheme();
    QCOMPARE(plotBackground(), QColor(Qt::white));
    QCOMPARE(ColorPrefs::Get().GetTraceColor(0), QColor(Qt::red));
    const double lightIcons = iconLightness();
    window->setDarkTheme();
    QCOMPARE(plotBackground(), QColor(Qt::black));
    QCOMPARE(ColorPrefs::Get().GetTraceColor(0), QColor(Qt::yellow));
    const double darkIcons = iconLightness();
    QVERIFY(lightIcons >= 0.0 && darkIcons >= 0.0);
    QVERIFY2(darkIcons > lightIcons + 0.3, qPrintable(QString::number(darkIcons - lightIcons)));
    QCOMPARE(Preferences::Get().GetProgramStyle(), KXStyleDark);
}

void TestTheme::unavailableControlsExplainWhy()
{
    // Remove every trace: the trace panels go grey and say why.
    window->PresetInstrumentState(false, false);
    int disabled = 0;
    for (int i = 0; i < MainWindow::kPanelCount; ++i)
    {
        QWidget* panel = window->Panel(i);
        QList<QWidget*> controls;
        for (QWidget* w : panel->findChildren<QWidget*>())
        {
            if (qobject_cast<QAbstractButton*>(w) || qobject_cast<QLineEdit*>(w) ||
                qobject_cast<QComboBox*>(w))
            {
                controls << w;
            }
        }
        for (QWidget* w : controls)
        {
            if (w->isEnabled() || qobject_cast<QLineEdit*>(w->parentWidget()) ||
                qobject_cast<QComboBox*>(w->parentWidget()))
            {
                continue;
            }
            ++disabled;
            // The reason is on the control or on the nearest disabled ancestor within the panel.
            QString reason;
            for (QWidget* a = w; a && reason.isEmpty();
                 a = a == panel ? nullptr : a->parentWidget())
            {
                reason = a->isEnabled() ? QString() : a->toolTip();
            }
            const auto* button = qobject_cast<QAbstractButton*>(w);
            const QString name = button ? button->text() : w->objectName();
            QVERIFY2(!reason.isEmpty(), qPrintable(QStringLiteral("panel %1: %2 \"%3\"")
                                                       .arg(i)
                                                       .arg(w->metaObject()->className())
                                                       .arg(name)));
        }
    }
    QVERIFY(disabled > 10);
    window->PresetInstrumentState(true, false);

    // Menu entries and toolbar buttons: a tooltip of their own, shown by their menu.
    QList<QPair<QMenu*, QAction*>> actions;
    std::function<void(QMenu*)> walk = [&](QMenu* menu)
    {
        emit menu->aboutToShow();
        for (QAction* a : menu->actions())
        {
            a->menu() ? walk(a->menu()) : actions.append({menu, a});
        }
    };
    for (QAction* a : window->menuBar()->actions())
    {
        walk(a->menu());
    }
    for (QToolBar* bar : window->findChildren<QToolBar*>())
    {
        for (QAction* a : bar->actions())
        {
            actions.append({nullptr, a});
        }
    }
    int greyed = 0;
    for (const auto& [menu, a] : actions)
    {
        if (a->isEnabled() || a->isSeparator() || a->text().isEmpty())
        {
            continue;
        }
        ++greyed;
        const QString plain = QString(a->text()).remove(QLatin1Char('&'));
        QVERIFY2(a->toolTip() != plain && !a->toolTip().isEmpty(), qPrintable(plain));
        QVERIFY2(!menu || menu->toolTipsVisible(), qPrintable(plain));
    }
    QVERIFY(greyed >= 5);
}

QTEST_MAIN(TestTheme)
#include "test_theme.moc"
