// Draws the toolbar icons, one set for the light theme (dark strokes) and one for the dark theme
// (light strokes), into resources/toolbar_icons/ and resources/toolbar_icons/dark/.
// Run: build/tools/gen_toolbar_icons resources/toolbar_icons
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <cstdio>
#include <functional>

namespace
{
constexpr int kSize = 64;  // drawn large, scaled down by the toolbar

using Glyph = std::function<void(QPainter&)>;

void Save(QPainter& p)
{
    p.drawRoundedRect(QRectF(10, 10, 44, 44), 4, 4);
    p.drawRect(QRectF(20, 10, 22, 14));
    p.drawRect(QRectF(18, 34, 28, 20));
}

void Load(QPainter& p)
{
    QPainterPath folder;
    folder.moveTo(8, 50);
    folder.lineTo(8, 16);
    folder.lineTo(24, 16);
    folder.lineTo(29, 22);
    folder.lineTo(52, 22);
    folder.lineTo(52, 30);
    p.drawPath(folder);
    QPainterPath front;
    front.moveTo(8, 50);
    front.lineTo(16, 30);
    front.lineTo(58, 30);
    front.lineTo(50, 50);
    front.closeSubpath();
    p.drawPath(front);
}

void Wave(QPainter& p)
{
    QPainterPath w;
    w.moveTo(6, 40);
    for (int x = 6; x <= 40; ++x)
    {
        w.lineTo(x, 32 - 14 * std::sin((x - 6) / 34.0 * 2 * M_PI));
    }
    p.drawPath(w);
}

void Plus(QPainter& p)
{
    p.drawLine(QPointF(50, 38), QPointF(50, 58));
    p.drawLine(QPointF(40, 48), QPointF(60, 48));
}

void AddTrace(QPainter& p)
{
    Wave(p);
    Plus(p);
}

void AddPlot(QPainter& p)
{
    p.drawRect(QRectF(6, 8, 38, 32));
    p.drawLine(QPointF(25, 8), QPointF(25, 40));
    p.drawLine(QPointF(6, 24), QPointF(44, 24));
    Plus(p);
}

void Arrows(QPainter& p, double x)
{
    p.drawLine(QPointF(x, 8), QPointF(x, 56));
    p.drawLine(QPointF(x - 8, 16), QPointF(x, 8));
    p.drawLine(QPointF(x + 8, 16), QPointF(x, 8));
    p.drawLine(QPointF(x - 8, 48), QPointF(x, 56));
    p.drawLine(QPointF(x + 8, 48), QPointF(x, 56));
}

void AutoScale(QPainter& p)
{
    Arrows(p, 32);
}

void AutoScaleAll(QPainter& p)
{
    Arrows(p, 20);
    Arrows(p, 44);
}

void Camera(QPainter& p)
{
    p.drawRoundedRect(QRectF(6, 18, 52, 36), 5, 5);
    p.drawRect(QRectF(22, 10, 20, 8));
    p.drawEllipse(QPointF(32, 36), 11, 11);
}

void Printer(QPainter& p)
{
    p.drawRect(QRectF(18, 6, 28, 16));
    p.drawRoundedRect(QRectF(6, 22, 52, 24), 4, 4);
    p.drawRect(QRectF(18, 38, 28, 20));
}

void Single(QPainter& p)
{
    QPainterPath tri;
    tri.moveTo(14, 10);
    tri.lineTo(42, 32);
    tri.lineTo(14, 54);
    tri.closeSubpath();
    p.drawPath(tri);
    p.drawLine(QPointF(50, 10), QPointF(50, 54));
}

void Continuous(QPainter& p)
{
    p.drawArc(QRectF(10, 10, 44, 44), 30 * 16, 300 * 16);
    p.drawLine(QPointF(51, 20), QPointF(54, 8));
    p.drawLine(QPointF(51, 20), QPointF(40, 17));
}

bool Write(const QString& dir, const char* name, const Glyph& glyph, QColor color)
{
    QImage img(kSize, kSize, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(color, 4.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    glyph(p);
    p.end();
    return img.save(dir + QLatin1Char('/') + QLatin1String(name) + QStringLiteral(".png"));
}
}  // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(".");
    QDir().mkpath(dir + QStringLiteral("/dark"));
    const struct
    {
        const char* name;
        Glyph glyph;
    } icons[] = {{"save", Save},
                 {"load", Load},
                 {"add_trace", AddTrace},
                 {"add_plot", AddPlot},
                 {"auto_scale", AutoScale},
                 {"auto_scale_all", AutoScaleAll},
                 {"camera", Camera},
                 {"printer", Printer},
                 {"single", Single},
                 {"continuous", Continuous}};
    bool ok = true;
    for (const auto& icon : icons)
    {
        ok &= Write(dir, icon.name, icon.glyph, QColor(40, 40, 48));
        ok &= Write(dir + QStringLiteral("/dark"), icon.name, icon.glyph, QColor(225, 225, 232));
    }
    if (!ok)
    {
        std::fprintf(stderr, "could not write the icons\n");
    }
    return ok ? 0 : 1;
}
