// The program's options, read directly by drawing, calibration and remote code.
#pragma once

#include <QString>
#include <QStringList>
#include <atomic>
#include <cstdint>
#include <functional>

#include "cable_list.h"
#include "vna_stimulus.h"

enum KXStyleSheet : int32_t
{
    KXStyleLight = 1,
    KXStyleDark = 2
};

class QTranslator;

class Preferences
{
public:
    // The process-wide record, built (and loaded) on first use.
    static Preferences& Get();

    void LoadPreset();
    void SavePreset() const;
    void Clear();

    // The GUI installs how a style is applied (with the application font at the given size);
    // the record itself stays widget-free.
    using StyleApplier = std::function<void(KXStyleSheet style, int fontSize, bool quiet)>;
    static void SetStyleApplier(StyleApplier applier);
    void SetProgramStyle(KXStyleSheet style, bool quiet);
    KXStyleSheet GetProgramStyle() const { return programStyle; }
    // Whether the records are written back at exit. Kept outside the record, so that the
    // colour preferences can still ask while the process-wide objects are destroyed.
    static bool SaveOnClose();
    // Tools and benchmarks that must leave the user's files alone turn the write at exit off.
    static void SetSaveOnClose(bool save);

    bool traceAntialiasing = true;
    double traceThickness = 1.0;
    double graticuleWidth = 1.0;
    bool graticuleDotted = true;
    bool highlightActivePlot = true;
    bool showSweepIndicator = true;
    bool confirmPreset = true;
    bool showStdSelectorOneStd = true;
    bool onPresetPowerOn = true;
    VNAPowerConfig onPresetPowerLevel = VNAPowerHigh;
    int32_t fontSize = 11;
    int32_t controlPanelOrientation = 0;
    bool controlPanelsInScreenshot = false;
    QString language = QStringLiteral("Default");
    bool scpiEnabled = true;
    int32_t scpiPort = 5026;
    bool scpiLockoutDialogEnabled = true;
    bool scpiLogEnabled = false;
    int32_t scpiLogMaxEntries = 1000;
    int32_t scpiLogMaxMessageLength = 1000;
    bool scpiLogIsFIFO = true;
    // Whether channels without a user calibration apply the factory correction. Read by the
    // measurement loop while the remote interface may change it: reach it through these.
    bool UseFactoryCal() const { return useFactoryCal.load(); }
    void SetUseFactoryCal(bool use) { useFactoryCal.store(use); }
    KXStyleSheet programStyle = KXStyleDark;
    // The operator's own cables of the time-domain panel, beside the built-in list.
    QVector<VNACable> userCables;
    // The uCal module's serial port when it cannot be found by its USB identity (an emulator's
    // pseudo-terminal); empty to search by identity only.
    QString uCalPortName;
    // Ask the maker's server for a newer version at start-up; off unless the operator opts in.
    bool checkForNewVersion = false;

private:
    Preferences();
    ~Preferences();

    std::atomic<bool> useFactoryCal{true};
};

// Process-wide "--hidden" flag: no window, no progress dialog, no questions.
class Hidden
{
public:
    static bool Get();
    static void Set(bool hidden);
};

// Loads the preferred language's translation (Preferences/Language; "Default" takes the system
// locale's language) from "./translations/vna_<language>.qm", relative to the working folder, and
// installs it. False, with nothing installed, when there is no such file.
bool InstallTranslation(QTranslator& translator);

// Applies the program's arguments (without the program name): "--hidden" sets the flag, anything
// else is recorded as a command-line error and otherwise ignored.
void ApplyCommandLineArguments(const QStringList& arguments);
