#include "preferences.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>
#include <atomic>

#include "application_settings.h"
#include "error_log.h"

namespace
{
Preferences::StyleApplier& Applier()
{
    static Preferences::StyleApplier applier;
    return applier;
}

// Trivially destructible, so it can be read while the process-wide records are destroyed.
std::atomic<bool> saveOnCloseFlag{true};
}  // namespace

Preferences& Preferences::Get()
{
    static Preferences prefs;
    return prefs;
}

Preferences::Preferences()
{
    LoadPreset();
}

Preferences::~Preferences()
{
    if (SaveOnClose())
    {
        SavePreset();
    }
}

void Preferences::SetStyleApplier(StyleApplier applier)
{
    Applier() = std::move(applier);
}

void Preferences::SetProgramStyle(KXStyleSheet style, bool quiet)
{
    programStyle = style;
    if (Applier())
    {
        Applier()(style, fontSize, quiet);
    }
}

bool Preferences::SaveOnClose()
{
    return saveOnCloseFlag.load();
}

void Preferences::SetSaveOnClose(bool save)
{
    saveOnCloseFlag.store(save);
}

namespace
{
template <typename S, typename Prefs>
void Transfer(S& s, Prefs& p, bool load)
{
    auto io = [&](const char* key, auto& value)
    {
        if (load)
        {
            s.Load(QLatin1String(key), value);
        }
        else
        {
            s.Save(QLatin1String(key), value);
        }
    };
    int powerLevel = p.onPresetPowerLevel;
    int style = p.programStyle;
    bool useFactoryCal = p.UseFactoryCal();
    io("TraceAntialiasing", p.traceAntialiasing);
    io("TraceThickness", p.traceThickness);
    io("GraticuleWidth", p.graticuleWidth);
    io("GraticuleDotted", p.graticuleDotted);
    io("HighlightActivePlot", p.highlightActivePlot);
    io("ShowSweepIndicator", p.showSweepIndicator);
    io("ConfirmPreset", p.confirmPreset);
    io("ShowStdSelectorOneStd", p.showStdSelectorOneStd);
    io("OnPresetPowerOn", p.onPresetPowerOn);
    io("OnPresetPowerLevel", powerLevel);
    io("FontSize", p.fontSize);
    io("ControlPanelOrientation", p.controlPanelOrientation);
    io("ControlPanelsInScreenshotEnabled", p.controlPanelsInScreenshot);
    io("Language", p.language);
    io("SCPIPrefs/Enabled", p.scpiEnabled);
    io("SCPIPrefs/Port", p.scpiPort);
    io("SCPIPrefs/LockoutDialogEnabled", p.scpiLockoutDialogEnabled);
    io("SCPIPrefs/LogEnabled", p.scpiLogEnabled);
    io("SCPIPrefs/LogMaxEntries", p.scpiLogMaxEntries);
    io("SCPIPrefs/LogMaxMessageLength", p.scpiLogMaxMessageLength);
    io("SCPIPrefs/LogIsFIFO", p.scpiLogIsFIFO);
    io("UseFactoryCal", useFactoryCal);
    io("ProgramStyle", style);
    io("UCalPortName", p.uCalPortName);
    io("CheckForNewVersion", p.checkForNewVersion);
    if (load)
    {
        p.onPresetPowerLevel = VNAPowerConfig(powerLevel);
        p.programStyle = KXStyleSheet(style);
        p.SetUseFactoryCal(useFactoryCal);
    }
}
}  // namespace

void Preferences::LoadPreset()
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.BeginGroup(QStringLiteral("Preferences"));
    Transfer(s, *this, true);
    LoadCables(s, QStringLiteral("UserCables"), userCables);
    s.EndGroup();
    SetDefaultPowerConfig(onPresetPowerLevel);
    SetProgramStyle(programStyle, true);
}

void Preferences::SavePreset() const
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.BeginGroup(QStringLiteral("Preferences"));
    Transfer(s, const_cast<Preferences&>(*this), false);
    SaveCables(s, QStringLiteral("UserCables"), userCables);
    s.EndGroup();
    s.Sync();
}

void Preferences::Clear()
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.Clear();
    s.Sync();
    saveOnCloseFlag.store(false);
}

namespace
{
std::atomic<bool> hiddenFlag{false};
}

bool Hidden::Get()
{
    return hiddenFlag.load();
}

void Hidden::Set(bool hidden)
{
    hiddenFlag.store(hidden);
}

void ApplyCommandLineArguments(const QStringList& arguments)
{
    for (const QString& arg : arguments)
    {
        if (arg == QLatin1String("--hidden"))
        {
            Hidden::Set(true);
        }
        else
        {
            SysErr::AddSystemError(CommandLineError, QCoreApplication::translate(
                                                         "main", "Unknown command line parameter"));
        }
    }
}

bool InstallTranslation(QTranslator& translator)
{
    QString language = QStringLiteral("Default");
    {
        ApplicationSettings prefs(GetPreferencesIniPath());
        prefs.Load(QStringLiteral("Preferences/Language"), language);
    }
    if (language == QLatin1String("Default"))
    {
        language = QLocale::system().name().left(2);
    }
    if (!translator.load(QStringLiteral("./translations/vna_") + language + QStringLiteral(".qm")))
    {
        return false;
    }
    QCoreApplication::installTranslator(&translator);
    return true;
}
