// Frequencies are plain hertz in double; this type adds the text forms the operator sees.
#pragma once

#include <QMetaType>
#include <QString>

class Frequency
{
public:
    enum Hertz
    {
        Hz = 0,
        kHz = 1,
        MHz = 2,
        GHz = 3
    };

    Frequency() = default;
    explicit Frequency(double hz) : value(hz) {}

    void Set(double v, Hertz unit);
    double Get() const { return value; }
    operator double() const { return value; }

    Hertz GetUnits() const;
    QString GetUnitString() const;
    QString GetFreqString() const;

    static double UnitFactor(Hertz unit);

private:
    double value = 0.0;
};

Q_DECLARE_METATYPE(Frequency)

// Parses operator text such as "2.4 GHz", "-10k" or "915" (unit of `out` kept). `out` is written
// only on success.
bool IsValidFreqString(QString text, Frequency& out);

// Compact frequency for the status bar, e.g. "20.00M", "1.5k", "0 Hz".
QString getShortFrequencyString(double f);
