// Draws the images the style sheets use (arrows, the check mark, the close cross), one set for
// each theme: "-dark" files have light strokes for the dark theme, "-light" files dark strokes.
// Run: build/tools/gen_style_images resources/style
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <cstdio>
#include <functional>

namespace
{
// Drawn at four times the size shown and scaled down smoothly, so thin strokes stay crisp.
constexpr int kOversample = 4;

using Glyph = std::function<void(QPainter&, double)>;

// A chevron in a square of side s, pointing up; the others are rotations of it.
void Chevron(QPainter& p, double s)
{
    QPainterPath path;
    path.moveTo(0.2 * s, 0.65 * s);
    path.lineTo(0.5 * s, 0.35 * s);
    path.lineTo(0.8 * s, 0.65 * s);
    p.drawPath(path);
}

// A filled triangle for the larger up and down buttons.
void Triangle(QPainter& p, double s)
{
    QPainterPath path;
    path.moveTo(0.2 * s, 0.7 * s);
    path.lineTo(0.5 * s, 0.3 * s);
    path.lineTo(0.8 * s, 0.7 * s);
    path.closeSubpath();
    p.setBrush(p.pen().color());
    p.drawPath(path);
}

void Check(QPainter& p, double s)
{
    QPainterPath path;
    path.moveTo(0.18 * s, 0.52 * s);
    path.lineTo(0.42 * s, 0.76 * s);
    path.lineTo(0.84 * s, 0.26 * s);
    p.drawPath(path);
}

void Cross(QPainter& p, double s)
{
    p.drawLine(QPointF(0.25 * s, 0.25 * s), QPointF(0.75 * s, 0.75 * s));
    p.drawLine(QPointF(0.75 * s, 0.25 * s), QPointF(0.25 * s, 0.75 * s));
}

struct Image
{
    const char* name;
    int size;          // pixels as shown
    int rotation;      // degrees, clockwise
    double stroke;     // fraction of the size
    bool onAccent;     // drawn white on the accent fill in both themes
    Glyph glyph;
};

bool Write(const QString& path, const Image& image, const QColor& color)
{
    const int big = image.size * kOversample;
    QImage img(big, big, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.translate(big / 2.0, big / 2.0);
    p.rotate(image.rotation);
    p.translate(-big / 2.0, -big / 2.0);
    p.setPen(QPen(color, image.stroke * big, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    image.glyph(p, big);
    p.end();
    return img.scaled(image.size, image.size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .save(path);
}
}  // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(".");
    QDir().mkpath(dir);
    const Image images[] = {
        {"up-arrow", 12, 0, 0.14, false, Chevron},
        {"down-arrow", 12, 180, 0.14, false, Chevron},
        {"left-arrow", 12, 270, 0.14, false, Chevron},
        {"right-arrow", 12, 90, 0.14, false, Chevron},
        {"arrow-up-large", 20, 0, 0.06, false, Triangle},
        {"arrow-down-large", 20, 180, 0.06, false, Triangle},
        {"check", 14, 0, 0.16, true, Check},
        {"close", 14, 0, 0.12, false, Cross},
    };
    const struct
    {
        const char* suffix;
        QColor stroke;
    } themes[] = {{"dark", QColor(225, 225, 232)}, {"light", QColor(40, 40, 48)}};
    bool ok = true;
    for (const Image& image : images)
    {
        for (const auto& theme : themes)
        {
            const QColor color = image.onAccent ? QColor(Qt::white) : theme.stroke;
            ok &= Write(QStringLiteral("%1/%2-%3.png")
                            .arg(dir, QLatin1String(image.name), QLatin1String(theme.suffix)),
                        image, color);
        }
    }
    if (!ok)
    {
        std::fprintf(stderr, "could not write the images\n");
    }
    return ok ? 0 : 1;
}
