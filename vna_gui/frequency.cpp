#include "frequency.h"

#include <QCoreApplication>
#include <QHash>
#include <cmath>

double Frequency::UnitFactor(Hertz unit)
{
    switch (unit)
    {
        case Hz:
            return 1.0;
        case kHz:
            return 1e3;
        case MHz:
            return 1e6;
        case GHz:
            return 1e9;
    }
    return 0.0;
}

void Frequency::Set(double v, Hertz unit)
{
    const double factor = UnitFactor(unit);
    if (factor != 0.0)
    {
        value = v * factor;
    }
}

Frequency::Hertz Frequency::GetUnits() const
{
    const double a = std::fabs(value);
    if (a < 1e3)
    {
        return Hz;
    }
    if (a < 1e6)
    {
        return kHz;
    }
    if (a < 1e9)
    {
        return MHz;
    }
    return GHz;
}

QString Frequency::GetUnitString() const
{
    static const char* const names[] = {"Hz", "kHz", "MHz", "GHz"};
    return QString::fromLatin1(names[GetUnits()]);
}

QString Frequency::GetFreqString() const
{
    static const char* const templates[] = {"%s%.6f Hz", "%s%.6f kHz", "%s%.6f MHz", "%s%.6f GHz"};
    const Hertz unit = GetUnits();
    const char* sign = value < 0.0 ? "-" : "";
    return QString::asprintf(templates[unit], sign, std::fabs(value) / UnitFactor(unit));
}

bool IsValidFreqString(QString text, Frequency& out)
{
    static const QHash<QString, Frequency::Hertz> str_to_hz = {
        {"h", Frequency::Hz},   {"hz", Frequency::Hz},   {"k", Frequency::kHz},
        {"kh", Frequency::kHz}, {"khz", Frequency::kHz}, {"m", Frequency::MHz},
        {"mh", Frequency::MHz}, {"mhz", Frequency::MHz}, {"g", Frequency::GHz},
        {"gh", Frequency::GHz}, {"ghz", Frequency::GHz}};

    QString t;
    t.reserve(text.size());
    for (const QChar c : text)
    {
        if (!c.isSpace())
        {
            t.append(c);
        }
    }
    if (t.isEmpty())
    {
        return false;
    }
    bool negative = false;
    if (t.at(0) == QLatin1Char('-') || t.at(0) == QLatin1Char('+'))
    {
        negative = t.at(0) == QLatin1Char('-');
        t.remove(0, 1);
    }
    int n = 0;
    while (n < t.size() && (t.at(n).isDigit() || t.at(n) == QLatin1Char('.')))
    {
        ++n;
    }
    const QString number = t.left(n);
    QString unit = t.mid(n);
    if (unit.isEmpty())
    {
        unit = out.GetUnitString();
    }
    unit = unit.toLower();
    bool ok = false;
    const double v = number.toDouble(&ok);
    if (!ok)
    {
        return false;
    }
    const auto it = str_to_hz.constFind(unit);
    if (it == str_to_hz.constEnd())
    {
        return false;
    }
    Frequency f;
    f.Set(v, it.value());
    out = negative ? Frequency(-f.Get()) : f;
    return true;
}

QString getShortFrequencyString(double f)
{
    const double a = std::fabs(f);
    if (f == 0.0)
    {
        return QString::asprintf("%.0f Hz", f);
    }
    if (a >= 1e6)
    {
        return QString::asprintf("%.2fM", f / 1e6);
    }
    if (a >= 1e5)
    {
        return QString::asprintf("%.0fk", f / 1e3);
    }
    if (a >= 1e4)
    {
        return QString::asprintf("%.1fk", f / 1e3);
    }
    if (a >= 1e3)
    {
        return QString::asprintf("%.2fk", f / 1e3);
    }
    if (a >= 100)
    {
        return QString::asprintf("%.0fH", f);
    }
    if (a >= 10)
    {
        return QString::asprintf("%.1fH", f);
    }
    return QString::asprintf("%.2fHz", f);
}
