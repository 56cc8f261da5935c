// The list of calibration kits: the system kits delivered among the resources, read-only, and
// the operator's kits in the user kit folder. A kit's name is its file's base name and is unique
// across both; the operations on user kits refuse anything that would break that.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

#include "vna_calkit.h"

struct CalKitListEntry
{
    QString name;
    QString path;
    bool system = false;
};

// The folder of the operator's kits: the preference DefaultUserCalKitDirectory, by default
// "calkits/" in the program data folder. Created when absent; ends with "/".
QString GetUserCalKitFolder();

// Every kit, sorted by name (case-insensitive). A user file that carries a system kit's name is
// left out: the system kit keeps the name.
QVector<CalKitListEntry> ReadCalKitList();
// The kits' names in list order.
QStringList CalKitNames();
// The entry of the kit with this name (exact); false when there is none.
bool FindCalKit(const QString& name, CalKitListEntry& entry);
// Loads the kit with this name, its name set; false when there is none or it does not load.
bool GetCalKitFromName(const QString& name, VNACalKit& kit);

// Whether a user kit may take this name: a valid file name, not empty, not a system kit's, and
// not another user kit's unless it is previousName (the kit being renamed). False with the reason.
bool CheckUserCalKitName(const QString& name, const QString& previousName, QString& error);
// Writes the kit under kit.CalKitName into the user folder, replacing the file whole; a kit
// renamed from previousName (a user kit) leaves its old file. False with the reason.
bool SaveUserCalKit(const VNACalKit& kit, const QString& previousName, QString& error);
bool DeleteUserCalKit(const QString& name, QString& error);
// Copies a .skt file into the user folder under its base name; name is the kit's name.
bool ImportCalKit(const QString& path, QString& name, QString& error);
// Writes any kit of the list to a .skt file at path.
bool ExportCalKit(const QString& name, const QString& path, QString& error);
// The first free name of the form "Copy of NAME", "Copy of NAME (2)", ...
QString CalKitCopyName(const QString& name);
