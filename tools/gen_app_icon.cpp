// Draws the program's icon, a Smith chart with a band-pass response over it, at the sizes the
// desktop entry and the window use, into resources/app_icon/kestrix-vna-<size>.png.
// Run: build/tools/gen_app_icon resources/app_icon
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <cstdio>

namespace
{
constexpr double kCanvas = 256.0;  // drawn in these units, scaled to each size

void DrawSmithChart(QPainter& p, const QPointF& c, double r)
{
    p.setPen(QPen(QColor(120, 160, 200), 5));
    p.drawEllipse(c, r, r);
    p.setPen(QPen(QColor(90, 120, 160), 3));
    // Constant-resistance circles touch the right edge; reactance arcs leave it.
    for (double k : {0.33, 1.0, 3.0})
    {
        const double cr = r / (1.0 + k);
        p.drawEllipse(QPointF(c.x() + r - cr, c.y()), cr, cr);
    }
    p.drawLine(QPointF(c.x() - r, c.y()), QPointF(c.x() + r, c.y()));
    p.save();
    QPainterPath disc;
    disc.addEllipse(c, r, r);
    p.setClipPath(disc);
    for (double x : {1.0, -1.0})
    {
        p.drawEllipse(QPointF(c.x() + r, c.y() - x * r), r, r);
    }
    p.restore();
}

void DrawBandPass(QPainter& p)
{
    QPainterPath curve;
    for (int i = 0; i <= 200; ++i)
    {
        const double x = 28.0 + i;
        const double u = (x - 128.0) / 26.0;
        const double db = -60.0 / (1.0 + std::exp((2.2 - std::abs(u)) * 2.5));  // 0 in band
        const double y = 64.0 - db * 2.3;
        if (i == 0)
        {
            curve.moveTo(x, y);
        }
        else
        {
            curve.lineTo(x, y);
        }
    }
    p.setPen(QPen(QColor(255, 196, 0), 12, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(curve);
}

QImage Draw(int size)
{
    QImage img(size, size, QImage::Format_ARGB32);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / kCanvas, size / kCanvas);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(22, 30, 44));
    p.drawRoundedRect(QRectF(8, 8, 240, 240), 40, 40);
    p.setBrush(Qt::NoBrush);
    DrawSmithChart(p, QPointF(128, 116), 84);
    DrawBandPass(p);
    return img;
}
}  // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: gen_app_icon <folder>\n");
        return 2;
    }
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    QDir().mkpath(dir.path());
    for (int size : {48, 128, 256})
    {
        const QString path = dir.filePath(QStringLiteral("kestrix-vna-%1.png").arg(size));
        if (!Draw(size).save(path))
        {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
