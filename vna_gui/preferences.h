// The program's options, read directly by drawing, calibration and remote code.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>

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
    bool useFactoryCal = true;
    KXStyleSheet programStyle = KXStyleDark;
    bool saveOnClose = true;
    // The uCal module's serial port when it cannot be found by its USB identity (an emulator's
    // pseudo-terminal); empty to search by identity only.
    QString uCalPortName;

private:
    Preferences();
    ~Preferences();
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
