#include "color_prefs.h"

#include <algorithm>
#include <cstring>

#include "application_settings.h"
#include "preferences.h"

namespace
{
const char kGroup[] = "ColorPrefs";

int WrapIndex(int index)
{
    const int i = index % ColorPrefs::kTraceColorCount;
    return i < 0 ? i + ColorPrefs::kTraceColorCount : i;
}

void LoadColor(ApplicationSettings& s, const QString& key, QColor& color)
{
    const QVariant v = s.Load(key);
    if (v.type() != QVariant::Color)
    {
        return;
    }
    // QColor takes its colour model from the file unchecked, so a damaged file can hold a model
    // Qt does not know, and even copying such a colour is undefined. The model is the first
    // member.
    int colourModel = -1;
    std::memcpy(&colourModel, v.constData(), sizeof colourModel);
    if (colourModel >= QColor::Invalid && colourModel <= QColor::ExtendedRgb)
    {
        color = v.value<QColor>();
    }
}
}  // namespace

ColorPrefs& ColorPrefs::Get()
{
    static ColorPrefs prefs;
    return prefs;
}

ColorPrefs::ColorPrefs()
{
    LoadDefaultsDark();
    Load();
}

ColorPrefs::~ColorPrefs()
{
    if (Preferences::SaveOnClose())
    {
        Save();
    }
}

QVector<QColor> ColorPrefs::Defaults(bool dark)
{
    if (dark)
    {
        return {QColor(QStringLiteral("#19808f")),
                QColor(0, 0, 0),
                QColor(20, 20, 30),
                QColor(255, 255, 255),
                QColor(255, 255, 255),
                QColor(Qt::yellow),
                QColor(Qt::magenta),
                QColor(0, 255, 0),
                QColor(Qt::cyan),
                QColor(Qt::red),
                QColor(42, 212, 255),
                QColor(181, 137, 0),
                QColor(0, 128, 0),
                QColor(255, 255, 255)};
    }
    return {QColor(QStringLiteral("#4d6081")),
            QColor(255, 255, 255),
            QColor(250, 250, 255),
            QColor(0, 0, 0),
            QColor(0, 0, 0),
            QColor(Qt::red),
            QColor(Qt::green),
            QColor(Qt::blue),
            QColor(Qt::cyan),
            QColor(Qt::magenta),
            QColor(Qt::yellow),
            QColor(Qt::darkRed),
            QColor(Qt::darkGreen),
            QColor(Qt::darkBlue)};
}

void ColorPrefs::Assign(const QVector<QColor>& colors)
{
    accent = colors[0];
    background = colors[1];
    activeBackground = colors[2];
    text = colors[3];
    graticule = colors[4];
    std::copy(colors.begin() + 5, colors.end(), traceColors);
}

void ColorPrefs::LoadDefaultsDark()
{
    Assign(Defaults(true));
}

void ColorPrefs::LoadDefaultsLight()
{
    Assign(Defaults(false));
}

void ColorPrefs::Load()
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.BeginGroup(QLatin1String(kGroup));
    LoadColor(s, QStringLiteral("Accent"), accent);
    LoadColor(s, QStringLiteral("Background"), background);
    LoadColor(s, QStringLiteral("ActiveBackground"), activeBackground);
    LoadColor(s, QStringLiteral("Text"), text);
    LoadColor(s, QStringLiteral("Graticule"), graticule);
    for (int i = 0; i < kTraceColorCount; ++i)
    {
        LoadColor(s, QString::asprintf("Trace%d", i + 1), traceColors[i]);
    }
    s.EndGroup();
}

void ColorPrefs::Save() const
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.BeginGroup(QLatin1String(kGroup));
    s.setValue(QStringLiteral("Accent"), accent);
    s.setValue(QStringLiteral("Background"), background);
    s.setValue(QStringLiteral("ActiveBackground"), activeBackground);
    s.setValue(QStringLiteral("Text"), text);
    s.setValue(QStringLiteral("Graticule"), graticule);
    for (int i = 0; i < kTraceColorCount; ++i)
    {
        s.setValue(QString::asprintf("Trace%d", i + 1), traceColors[i]);
    }
    s.EndGroup();
}

QColor ColorPrefs::GetTraceColor(int index) const
{
    return traceColors[WrapIndex(index)];
}

void ColorPrefs::SetTraceColor(int index, const QColor& color)
{
    traceColors[WrapIndex(index)] = color;
}
