// The list of calibration kits a calibration can choose from: the system kits among the
// program's resources (read-only) and the operator's kits in the user kit folder.
#pragma once

#include <QString>
#include <QVector>

#include "vna_calkit.h"

struct CalKitInfo
{
    QString name;  // the file's base name: how lists and remote clients name the kit
    QString path;
    bool system = false;
};

// The folder of the operator's kits: the one kept under DefaultUserCalKitDirectory in the
// preferences, or "calkits/" in the program data folder (created on demand).
QString GetUserCalKitDirectory();

// Every .skt kit, sorted by name without regard to case; of two kits with one name the system
// kit comes first.
QVector<CalKitInfo> ReadCalKitInfo();

// Loads the kit of that name (case kept) and names it; false when there is none or it does not
// load.
bool GetCalKitFromName(const QString& name, VNACalKit& kit);
