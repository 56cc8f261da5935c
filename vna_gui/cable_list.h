// Coaxial cable types for the distance readout of the time domain: a built-in list of generic
// dielectrics with their typical velocity factors, and the operator's own entries, which live in
// the preferences file.
#pragma once

#include <QString>
#include <QVector>

class ApplicationSettings;

struct VNACable
{
    QString name;
    double velocityFactor = 1.0;
};

bool operator==(const VNACable& a, const VNACable& b);

// Generic cable constructions with the velocity factors usually published for them; names
// translated.
QVector<VNACable> BuiltInCables();

// Adds an entry, or gives an entry of the same name the new factor. False, with the list
// unchanged, for a blank name or a factor outside 0 < factor <= 1.
bool AddCable(QVector<VNACable>& list, const QString& name, double velocityFactor);

// An array under key of the settings' current group: "Name" and "VelocityFactor" per entry.
// Entries that do not read back as a valid cable are skipped.
void SaveCables(ApplicationSettings& settings, const QString& key, const QVector<VNACable>& list);
void LoadCables(ApplicationSettings& settings, const QString& key, QVector<VNACable>& list);
