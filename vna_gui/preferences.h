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

class Preferences
{
public:
    // The process-wide record, built (and loaded) on first use.
    static Preferences& Get();

    void LoadPreset();
    void SavePreset() const;
    void Clear();

    // The GUI installs how a style is applied; the record itself stays widget-free.
    static void SetStyleApplier(std::function<void(KXStyleSheet, bool)> applier);
    void SetProgramStyle(KXStyleSheet style, bool quiet);
    KXStyleSheet GetProgramStyle() const { return programStyle; }
    bool SaveOnClose() const { return saveOnClose; }

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
    // Ask the maker's server for a newer version at start-up; off unless the operator opts in.
    bool checkForNewVersion = false;
    bool saveOnClose = true;

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

// Applies the program's arguments (without the program name): "--hidden" sets the flag, anything
// else is recorded as a command-line error and otherwise ignored.
void ApplyCommandLineArguments(const QStringList& arguments);
