// The colours of the plots: accent, backgrounds, text, graticule and nine trace colours.
#pragma once

#include <QColor>
#include <QVector>

class ColorPrefs
{
public:
    static constexpr int kTraceColorCount = 9;

    // The process-wide record, built on first use with the dark theme's colours and then the
    // stored ones, and written back at exit when the preferences are saved on close.
    static ColorPrefs& Get();

    void LoadDefaultsDark();
    void LoadDefaultsLight();
    // A theme's default colours in the order of the fields: accent, background, active
    // background, text, graticule, then the trace colours.
    static QVector<QColor> Defaults(bool dark);
    // A stored value replaces a field only when it holds a colour.
    void Load();
    void Save() const;

    // Traces take their colour by index; indices past the ninth wrap round.
    QColor GetTraceColor(int index) const;
    void SetTraceColor(int index, const QColor& color);

    QColor accent;
    QColor background;
    QColor activeBackground;
    QColor text;
    QColor graticule;
    QColor traceColors[kTraceColorCount];

private:
    ColorPrefs();
    ~ColorPrefs();
    void Assign(const QVector<QColor>& colors);
};
