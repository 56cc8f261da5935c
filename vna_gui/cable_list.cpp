#include "cable_list.h"

#include <QCoreApplication>

#include "application_settings.h"

bool operator==(const VNACable& a, const VNACable& b)
{
    return a.name == b.name && a.velocityFactor == b.velocityFactor;
}

namespace
{
bool IsValidFactor(double v)
{
    return v > 0.0 && v <= 1.0;
}
}  // namespace

QVector<VNACable> BuiltInCables()
{
    // Typical figures for each construction: a given cable's data sheet may differ by a few
    // hundredths, and foamed dielectrics spread most.
    static const struct
    {
        const char* name;
        double velocityFactor;
    } kCables[] = {
        {QT_TRANSLATE_NOOP("Cables", "Air dielectric"), 1.00},
        {QT_TRANSLATE_NOOP("Cables", "Air-spaced PE"), 0.95},
        {QT_TRANSLATE_NOOP("Cables", "Gas-injected foam PE"), 0.85},
        {QT_TRANSLATE_NOOP("Cables", "Foam PE"), 0.82},
        {QT_TRANSLATE_NOOP("Cables", "Expanded PTFE"), 0.78},
        {QT_TRANSLATE_NOOP("Cables", "Solid PTFE"), 0.70},
        {QT_TRANSLATE_NOOP("Cables", "Solid PE"), 0.66},
    };
    QVector<VNACable> list;
    for (const auto& c : kCables)
    {
        list.append({QCoreApplication::translate("Cables", c.name), c.velocityFactor});
    }
    return list;
}

bool AddCable(QVector<VNACable>& list, const QString& name, double velocityFactor)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || !IsValidFactor(velocityFactor))
    {
        return false;
    }
    for (VNACable& c : list)
    {
        if (c.name == trimmed)
        {
            c.velocityFactor = velocityFactor;
            return true;
        }
    }
    list.append({trimmed, velocityFactor});
    return true;
}

void SaveCables(ApplicationSettings& s, const QString& key, const QVector<VNACable>& list)
{
    s.Remove(key);
    s.BeginWriteArray(key, list.size());
    for (int i = 0; i < list.size(); ++i)
    {
        s.SetArrayIndex(i);
        s.Save(QStringLiteral("Name"), list[i].name);
        s.Save(QStringLiteral("VelocityFactor"), list[i].velocityFactor);
    }
    s.EndArray();
}

void LoadCables(ApplicationSettings& s, const QString& key, QVector<VNACable>& list)
{
    // A file without the key keeps the list in memory, as every other preference does.
    if (!s.childGroups().contains(key))
    {
        return;
    }
    QVector<VNACable> loaded;
    const int n = s.BeginReadArray(key);
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        QString name;
        double factor = 0.0;
        s.Load(QStringLiteral("Name"), name);
        s.Load(QStringLiteral("VelocityFactor"), factor);
        AddCable(loaded, name, factor);
    }
    s.EndArray();
    list = loaded;
}
