#include "style_manager.h"

#include <QApplication>
#include <QColor>
#include <QEventLoop>
#include <QFile>
#include <QFont>
#include <QMessageBox>
#include <QRegularExpression>
#include <QThread>

#include "color_prefs.h"
#include "preferences.h"

namespace
{
// Darkening factors of the accent shades (QColor::darker, 100 = unchanged).
constexpr int kShadeLight = 115;
constexpr int kShadeDark = 165;
constexpr int kShadeDarkest = 180;

// A resource that cannot be opened reads as empty text.
QString ReadResource(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text))
    {
        return QString();
    }
    return QString::fromUtf8(f.readAll());
}

void SetApplicationFont(int pointSize)
{
    QApplication::setFont(QFont(QStringLiteral("Arial"), pointSize));
}
}  // namespace

QHash<QString, QString>& StyleManager::VariableTable()
{
    static QHash<QString, QString> variables;
    return variables;
}

const QHash<QString, QString>& StyleManager::Variables()
{
    return VariableTable();
}

QString StyleManager::Variable(const QString& name)
{
    return VariableTable().value(name);
}

void StyleManager::SetMode(int mode, bool quiet)
{
    IngestStyleVariables(ReadResource(mode == KXStyleDark
                                          ? QStringLiteral(":resources/style_sheet_dark.css")
                                          : QStringLiteral(":resources/style_sheet_light.css")));
    SetAccentColor(mode);
    Update(quiet);
}

void StyleManager::Update(bool quiet)
{
    ApplyStylesheet(GenerateStylesheet(ReadResource(QStringLiteral(":resources/style_sheet_base.css"))),
                    quiet);
}

void StyleManager::SetAccentColor(int mode)
{
    const QColor a = ColorPrefs::Get().accent;
    const bool light = mode == KXStyleLight;
    const QString plain = a.name();
    const QString mid = a.darker(light ? kShadeLight : kShadeDark).name();
    const QString darkest = a.darker(kShadeDarkest).name();
    QHash<QString, QString>& v = VariableTable();
    // The light theme turns the shades round: its darkest shade carries the title bars.
    v[QStringLiteral("--accent-1")] = light ? darkest : plain;
    v[QStringLiteral("--accent-2")] = mid;
    v[QStringLiteral("--accent-3")] = light ? plain : darkest;
    v[QStringLiteral("--accent-4")] =
        light ? QColor::fromHsv(a.hsvHue(), 20, 235, 255).name() : QStringLiteral("#222222");
}

void StyleManager::IngestStyleVariables(const QString& sheet)
{
    static const QRegularExpression root(QStringLiteral(":root {[^}]*}"));
    const QRegularExpressionMatch match = root.match(sheet);
    if (!match.hasMatch())
    {
        return;
    }
    QString block = match.captured(0);
    block = block.mid(block.indexOf(QLatin1Char('{')) + 1);
    block.chop(1);
    QHash<QString, QString>& v = VariableTable();
    for (const QString& declaration : block.split(QLatin1Char(';'), Qt::SkipEmptyParts))
    {
        // Values such as url(:resources/...) hold colons of their own: only the first one
        // separates the name.
        const int colon = declaration.indexOf(QLatin1Char(':'));
        if (colon < 0)
        {
            continue;
        }
        const QString name = declaration.left(colon).trimmed();
        if (!name.isEmpty())
        {
            v[name] = declaration.mid(colon + 1).trimmed();
        }
    }
}

QString StyleManager::GenerateStylesheet(const QString& base)
{
    QString sheet = base;
    const QHash<QString, QString>& v = VariableTable();
    for (auto it = v.constBegin(); it != v.constEnd(); ++it)
    {
        sheet.replace(QStringLiteral("var(%1)").arg(it.key()), it.value());
    }
    return sheet;
}

void StyleManager::ApplyStylesheet(const QString& sheet, bool quiet)
{
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (!app)
    {
        return;
    }
    // Restyling every widget takes a visible moment: say so first, unless asked not to or no
    // window is to be shown at all.
    QMessageBox* box = nullptr;
    if (!quiet && !Hidden::Get())
    {
        box = new QMessageBox(QMessageBox::NoIcon, QCoreApplication::translate("Styles", "Styles"),
                              QCoreApplication::translate("Styles", "Loading style.."),
                              QMessageBox::NoButton);
        box->setModal(true);
        box->show();
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
    app->setStyleSheet(sheet);
    if (box)
    {
        box->done(0);
        delete box;
    }
}

void StyleManager::Install()
{
    Preferences::SetStyleApplier(
        [](KXStyleSheet style, int fontSize, bool quiet)
        {
            // Widgets belong to the GUI thread; a record first built elsewhere applies nothing.
            if (!qobject_cast<QApplication*>(QCoreApplication::instance()) ||
                QThread::currentThread() != QCoreApplication::instance()->thread())
            {
                return;
            }
            SetApplicationFont(fontSize);
            SetMode(style, quiet);
            // A new style sheet resets the font: set it again.
            SetApplicationFont(fontSize);
        });
}
