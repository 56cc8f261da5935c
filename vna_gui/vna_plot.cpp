#include "vna_plot.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QInputDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QMutexLocker>
#include <QPainterPath>
#include <QVariantMap>
#include <QWheelEvent>
#include <cmath>
#include <complex>

#include "color_prefs.h"
#include "frequency.h"
#include "preferences.h"
#include "time_domain.h"
#include "vna_meas.h"
#include "vna_model.h"
#include "vna_trace.h"

namespace
{
constexpr int kDivisions = 10;
// Curves with more points than this many per pixel column are reduced before stroking.
constexpr int kDecimateFactor = 2;

// Mouse positions snap to the nearest pixel, halves to the right.
QPoint RoundPos(const QPointF& p)
{
    return QPoint(int(std::floor(p.x() + 0.5)), int(std::floor(p.y() + 0.5)));
}

QString FreqText(double hz)
{
    return Frequency(hz).GetFreqString();
}

}  // namespace

// --- VNAPainter --------------------------------------------------------------------------------

int VNAPainter::FontHeight() const
{
    return fontMetrics().height();
}

int VNAPainter::Ascent() const
{
    return fontMetrics().ascent();
}

int VNAPainter::FontDescent() const
{
    return fontMetrics().descent();
}

void VNAPainter::SetPenColor(const QColor& color)
{
    QPen p = pen();
    p.setColor(color);
    setPen(p);
}

void VNAPainter::DrawString(const QString& text, int x, int y, Qt::AlignmentFlag align)
{
    if (align == Qt::AlignRight)
    {
        x -= fontMetrics().horizontalAdvance(text);
    }
    else if (align == Qt::AlignCenter)
    {
        x -= fontMetrics().horizontalAdvance(text) / 2;
    }
    drawText(x, y, text);
}

void VNAPainter::DrawMarker(int id, double x, double y)
{
    const QTransform t = worldTransform();
    const double w = FontHeight() / t.m11();
    const double h = std::fabs(FontHeight() / t.m22());
    QPainterPath path;
    path.moveTo(x, y);
    path.lineTo(x + w * 0.5, y + h);
    path.lineTo(x - w * 0.5, y + h);
    path.closeSubpath();
    drawPath(path);

    const QPointF anchor = t.map(QPointF(x, y + h));
    LoadIdentity();
    QString label;
    double baseline = anchor.y();
    if (id == 16)
    {
        label = QStringLiteral("R");
    }
    else if (id == -1)
    {
        label = QStringLiteral("BW");
    }
    else
    {
        label = QString::asprintf("%d", id);
        baseline -= 1.0;
    }
    DrawString(label, int(anchor.x() + 1.0), int(baseline), Qt::AlignCenter);
    setWorldTransform(t);
}

void VNAPainter::DrawPartialSweepIndicator(double x, double y, bool up)
{
    const QTransform t = worldTransform();
    const double w = (FontHeight() / t.m11()) / 3.0;
    double h = std::fabs(FontHeight() / t.m22());
    if (!up)
    {
        h = -h;
    }
    drawLine(QPointF(x, y), QPointF(x - w, y + h / 3.0));
    drawLine(QPointF(x, y), QPointF(x + w, y + h / 3.0));
    drawLine(QPointF(x, y), QPointF(x, y + h));
}

// --- Overlay -----------------------------------------------------------------------------------

Overlay::Overlay(QWidget* parent, const QColor& c) : QWidget(parent), color(c)
{
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void Overlay::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), color);
    for (const PixmapEntry& e : pixmaps)
    {
        p.drawPixmap(e.pos, e.pixmap);
    }
    const QColor light = QColor::fromRgb(255, 255, 255, 150);
    if (dropValid)
    {
        p.fillRect(dropRect, light);
    }
    if (globalDropValid)
    {
        p.fillRect(QRect(mapFromGlobal(globalDropRect.topLeft()),
                         mapFromGlobal(globalDropRect.bottomRight())),
                   light);
    }
}

// --- free helpers ------------------------------------------------------------------------------

QPointF GetSmithScale(const QRectF& r)
{
    if (!(r.x() > 0.0 && r.y() > 0.0))
    {
        return QPointF(1.0, 1.0);
    }
    if (r.height() > r.width())
    {
        return QPointF(1.0, double(float(r.height())) / r.width());
    }
    return QPointF(double(float(r.width())) / r.height(), 1.0);
}

void DecimateCurve(const QVector<double>& x, const QVector<double>& y, double x0, double pixelsPerX,
                   QVector<QPointF>& out)
{
    out.resize(0);
    const int n = std::min(x.size(), y.size());
    const double* xs = x.constData();
    const double* ys = y.constData();
    int i = 0;
    while (i < n)
    {
        const double col = std::floor((xs[i] - x0) * pixelsPerX);
        int lo = i, hi = i;
        int j = i + 1;
        while (j < n && std::floor((xs[j] - x0) * pixelsPerX) == col)
        {
            if (ys[j] < ys[lo])
            {
                lo = j;
            }
            if (ys[j] > ys[hi])
            {
                hi = j;
            }
            ++j;
        }
        // First, extremes and last of the run, in index order and without repeats, so the
        // polyline keeps its course through the column.
        const int keep[4] = {i, std::min(lo, hi), std::max(lo, hi), j - 1};
        int previous = -1;
        for (int k : keep)
        {
            if (k > previous)
            {
                out.append(QPointF(xs[k], ys[k]));
                previous = k;
            }
        }
        i = j;
    }
}

// --- VNAPlot -----------------------------------------------------------------------------------

VNAPlot::VNAPlot(VNAModel& m, int number, QWidget* parent)
    : QWidget(parent),
      model(m),
      channels(m.channels),
      traces(m.traces),
      selectedTrace(m.selectedTraceIndex),
      dataMutex(m.traceLock),
      plotNumber(number)
{
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_MouseTracking);
}

void VNAPlot::SetPlotNumber(int number)
{
    plotNumber = number;
    emit plotNumberChanged(number);
}

void VNAPlot::SetTitle(const QString& t)
{
    title = t;
    setWindowTitle(t);  // the plot area's title bar follows it
    update();
}

void VNAPlot::aboutToDestroy()
{
    emit plotClosing(plotNumber);
}

void VNAPlot::paintEvent(QPaintEvent*)
{
    VNAPainter p(this);
    p.setPen(QPen());
    labelPos.resize(0);
    localTraces.resize(0);

    const Preferences& prefs = Preferences::Get();
    const ColorPrefs& colors = ColorPrefs::Get();

    bool holdsSelected = false;
    int traceCount = 0;
    {
        QMutexLocker lock(&dataMutex);
        for (int i = 0; i < traces.size(); ++i)
        {
            const VNATrace* t = traces[i];
            if (!t)
            {
                continue;
            }
            ++traceCount;
            if (t->plot == plotNumber)
            {
                localTraces.append(i);
                if (i == selectedTrace)
                {
                    localActiveTrace = i;
                    holdsSelected = true;
                }
            }
        }
    }
    const int visible = visiblePlots ? visiblePlots() : 1;
    const bool highlight =
        prefs.highlightActivePlot && visible > 1 && traceCount > 1 && holdsSelected;
    p.fillRect(rect(), highlight ? colors.activeBackground : colors.background);

    if (!holdsSelected && !localTraces.contains(localActiveTrace) && !localTraces.isEmpty())
    {
        localActiveTrace = localTraces.first();
    }

    const QFontMetrics fm(p.font());
    const int lineH = fm.boundingRect(QStringLiteral("0123456789")).height();
    const int rows = (localTraces.size() - 1) / 2 + 1;
    const double top = (rows + 0.5) * lineH;
    const double left = fm.boundingRect(QStringLiteral("-000.00")).width();
    plotRect = QRectF(left, top, width() - fm.boundingRect(QStringLiteral("03")).width() - left,
                      height() - lineH - top);

    p.SetPenColor(colors.graticule);
    p.drawRects(&plotRect, 1);

    const int lineTop = int(plotRect.top()) + p.FontHeight() - p.FontDescent();
    Cursors cur;
    cur.marker = QPoint(int(plotRect.right()), lineTop);
    cur.block = QPoint(int(plotRect.x() + plotRect.width() * 0.5), lineTop);
    cur.limit =
        QPoint(int(plotRect.left()), int(plotRect.top() + plotRect.height()) - p.FontDescent());
    cur.ripple = QPoint(int(plotRect.left()), lineTop);

    bool rectGridDone = false;
    bool smithGridDone = false;
    for (int place = 0; place < localTraces.size(); ++place)
    {
        DrawTrace(p, localTraces[place], place, rectGridDone, smithGridDone, cur);
    }
}

void VNAPlot::DrawTrace(VNAPainter& p, int index, int place, bool& rectGridDone,
                        bool& smithGridDone, Cursors& cur)
{
    QMutexLocker lock(&dataMutex);
    const VNATrace* t = traces.value(index, nullptr);
    if (!t)
    {
        return;
    }
    const VNAChannel* ch = channels.value(t->channel, nullptr);
    const double R = *t->ref();
    const double D = *t->div();
    const double P = *t->refPos();
    const double yTop = R + P * D;
    const double yBottom = R - (kDivisions - P) * D;

    View v;
    v.xMin = ch ? ch->stimulus.start : 0.0;
    v.xMax = ch ? ch->stimulus.stop : 1.0;
    if (t->transformEnabled)
    {
        v.xMin = t->transform.start;
        v.xMax = t->transform.stop;
    }
    v.yMin = yBottom;
    v.yMax = yTop;
    const bool smith = IsSmithFormat(t->format);
    if (smith)
    {
        const QPointF s = GetSmithScale(plotRect);
        v.xMin = -s.x() * R;
        v.xMax = s.x() * R;
        v.yMin = -s.y() * R;
        v.yMax = s.y() * R;
    }
    v.sx = plotRect.width() / (v.xMax - v.xMin);
    v.sy = plotRect.height() / (v.yMax - v.yMin);

    if (!smith && !rectGridDone)
    {
        DrawGraticule(p, P);
        rectGridDone = true;
    }
    if (smith && !smithGridDone)
    {
        DrawSmithGraticule(p, v, t->format == SmithGB);
        smithGridDone = true;
    }

    DrawLabel(p, *t, index, place);
    if (index == localActiveTrace && !smith)
    {
        DrawAxisTexts(p, *t, ch, v.xMin, v.xMax);
    }
    DrawReadouts(p, *t, index, cur);
    DrawTitle(p);

    SetDataView(p, v, false);
    DrawGate(p, *t, v, ColorPrefs::Get().GetTraceColor(index));
    DrawCurves(p, *t, v, ColorPrefs::Get().GetTraceColor(index));
    DrawMarkers(p, *t, cur);
    if (Preferences::Get().showSweepIndicator)
    {
        DrawSweepIndicators(p, *t, ch, yTop, yBottom);
    }
    DrawBandwidthMarkers(p, *t);
    p.LoadIdentity();
    p.setClipping(false);
}

void VNAPlot::DrawGraticule(VNAPainter& p, double refPos)
{
    const Preferences& prefs = Preferences::Get();
    QColor c = ColorPrefs::Get().graticule;
    c.setAlphaF(0.5);
    QPen pen(c);
    pen.setWidthF(prefs.graticuleWidth);
    pen.setCosmetic(true);
    pen.setStyle(prefs.graticuleDotted ? Qt::DotLine : Qt::SolidLine);
    p.setPen(pen);
    p.setRenderHint(QPainter::Antialiasing, false);
    const QRectF& r = plotRect;
    for (int i = 1; i < kDivisions; ++i)
    {
        const double y = r.top() + i * r.height() / kDivisions;
        const double x = r.left() + i * r.width() / kDivisions;
        p.drawLine(QPointF(r.left(), y), QPointF(r.left() + r.width(), y));
        p.drawLine(QPointF(x, r.top()), QPointF(x, r.top() + r.height()));
    }
    // The reference level stays solid so it reads apart from the grid.
    pen.setStyle(Qt::SolidLine);
    p.setPen(pen);
    const double yRef = r.top() + refPos * r.height() / kDivisions;
    p.drawLine(QPointF(r.left(), yRef), QPointF(r.left() + r.width(), yRef));
    p.setRenderHint(QPainter::Antialiasing, true);
}

void VNAPlot::DrawSmithGraticule(VNAPainter& p, const View& v, bool admittance)
{
    const QPen saved = p.pen();
    SetDataView(p, v, admittance);
    QColor c = ColorPrefs::Get().graticule;
    c.setAlphaF(0.5);
    QPen pen(c);
    pen.setWidthF(1.0);
    pen.setCosmetic(true);
    p.setPen(pen);
    p.setRenderHint(QPainter::Antialiasing, true);
    DrawSmithChart(p);
    QPen solid = saved;
    solid.setStyle(Qt::SolidLine);
    p.setPen(solid);
    p.setClipping(false);
    p.LoadIdentity();
}

void VNAPlot::DrawSmithChart(VNAPainter& p)
{
    const QPen savedPen = p.pen();
    const QBrush savedBrush = p.brush();
    p.setBrush(Qt::NoBrush);
    QPen pen = savedPen;
    pen.setWidthF(1.0);
    QColor c = pen.color();
    c.setAlphaF(1.0);
    pen.setColor(c);
    p.setPen(pen);
    p.drawEllipse(QRectF(-1.0, -1.0, 2.0, 2.0));

    c.setAlphaF(0.5);
    pen.setColor(c);
    p.setPen(pen);
    for (int k = 1; k <= 5; ++k)
    {
        const double cc = k / 6.0;
        const double r = 1.0 - cc;
        p.drawEllipse(QRectF(2.0 * cc - 1.0, 0.0 - r, 2.0 * r, 2.0 * r));
    }

    static const double reactances[] = {0.0, 0.2, 0.5, 1.0, 2.0, 5.0, -0.2, -0.5, -1.0, -2.0, -5.0};
    QVector<QPointF> arc(600);
    for (double xr : reactances)
    {
        for (int i = 0; i < 600; ++i)
        {
            const double r = std::pow(10.0, i * 0.02) / 100.0;
            const std::complex<double> q = std::complex<double>(r - 50.0, 50.0 * xr) /
                                           std::complex<double>(r + 50.0, 50.0 * xr);
            arc[i] = QPointF(q.real(), q.imag());
        }
        p.drawPolyline(arc.constData(), arc.size());
    }
    p.setPen(savedPen);
    p.setBrush(savedBrush);
}

void VNAPlot::SetDataView(VNAPainter& p, const View& v, bool mirror)
{
    p.LoadIdentity();
    p.setClipRect(plotRect);
    p.translate(plotRect.topLeft());
    p.translate(-v.xMin * v.sx, v.yMax * v.sy);
    p.scale(mirror ? -v.sx : v.sx, -v.sy);
}

void VNAPlot::DrawLabel(VNAPainter& p, const VNATrace& t, int index, int place)
{
    const QString text =
        QString::asprintf("Tr%d %s  %s  %s", index + 1, t.GetNameString().toUtf8().constData(),
                          VNATraceFormatToTruncStr(t.format).toUtf8().constData(),
                          t.GetRefDivString().toUtf8().constData());
    const int x = (width() * (place & 1)) / 2;
    const int baseline = p.FontHeight() * ((place >> 1) + 1) - p.FontDescent();
    // Each label keeps to its column: with plots side by side a whole label does not fit, and
    // it ends in an ellipsis instead of running into the next column. A space's width is left
    // free before the next column.
    const QFontMetrics fm = p.fontMetrics();
    const int column = (place & 1) ? width() - x : width() / 2 - x;
    const int room = std::max(0, column - fm.horizontalAdvance(QLatin1Char(' ')));
    const QString shown = fm.elidedText(text, Qt::ElideRight, room);
    // The box spans the text's advance and its ink, whichever reaches further, and the line's
    // full height, within the column.
    const QRect ink = fm.boundingRect(shown);
    const int right = std::max(fm.horizontalAdvance(shown), ink.right() + 1);
    const QRect box = QRect(x, baseline - fm.ascent(), right + 1, fm.ascent() + fm.descent())
                          .intersected(QRect(x, 0, column, height()));
    const QColor color = ColorPrefs::Get().GetTraceColor(index);
    p.SetPenColor(color);
    if (index == selectedTrace)
    {
        p.fillRect(box, color);
        p.SetPenColor(Qt::black);
    }
    else if (index == hoveredTrace)
    {
        QColor faint = color;
        faint.setAlpha(0x3c);
        p.fillRect(box, faint);
    }
    p.save();
    p.setClipRect(QRect(x, 0, column, height()));
    p.DrawString(shown, x, baseline, Qt::AlignLeft);
    p.restore();
    p.SetPenColor(color);
    labelPos.append({index, box});
}

void VNAPlot::DrawAxisTexts(VNAPainter& p, const VNATrace& t, const VNAChannel* ch, double xMin,
                            double xMax)
{
    const QPen saved = p.pen();
    p.SetPenColor(ColorPrefs::Get().text);
    const QRectF& r = plotRect;
    const double P = *t.refPos();
    const double R = *t.ref();
    const double div = *t.div();
    for (int i = 0; i <= kDivisions; ++i)
    {
        const double value = P * div + R - div * i;
        p.DrawString(QString::asprintf("%.2f", value), int(r.left()),
                     int(r.top() + (r.height() / kDivisions) * i + p.Ascent() * 0.5),
                     Qt::AlignRight);
    }
    const int baseline = int(r.top() + r.height() + p.Ascent());
    if (!t.transformEnabled || t.x.isEmpty())
    {
        const QString name = ch ? ch->GetShortName() : QString();
        p.DrawString(name + QStringLiteral(": ") + FreqText(xMin), int(r.left()), baseline,
                     Qt::AlignLeft);
        p.DrawString(FreqText(xMax), int(r.left() + r.width()), baseline, Qt::AlignRight);
    }
    else
    {
        p.DrawString(TimeToDisplayString(xMin, t.transform, t.meas, 3), int(r.left()), baseline,
                     Qt::AlignLeft);
        p.DrawString(TimeToDisplayString(xMax, t.transform, t.meas, 3), int(r.left() + r.width()),
                     baseline, Qt::AlignRight);
    }
    p.setPen(saved);
}

void VNAPlot::DrawReadouts(VNAPainter& p, const VNATrace& t, int index, Cursors& cur)
{
    const QColor color = ColorPrefs::Get().GetTraceColor(index);
    const int lineH = p.FontHeight();
    auto blockLine = [&](const QString& s)
    {
        p.DrawString(s, cur.block, Qt::AlignRight);
        cur.block.ry() += lineH;
    };

    if (t.statsEnabled)
    {
        p.SetPenColor(color);
        const QString unit = t.unitRef;
        blockLine(tr("Statistics"));
        blockLine(tr("Min") + QString::asprintf(" %.3f", t.stats.min) + unit);
        blockLine(tr("Max") + QString::asprintf(" %.3f", t.stats.max) + unit);
        blockLine(tr("Peak-Peak") + QString::asprintf(" %.3f", t.stats.max - t.stats.min) + unit);
        blockLine(tr("Mean") + QString::asprintf(" %.3f", t.stats.mean) + unit);
        blockLine(tr("StdDev") + QString::asprintf(" %.3f", t.stats.stdDev) + unit);
    }

    if (t.bwSearchEnabled)
    {
        p.SetPenColor(color);
        for (const QString& line : t.GetBandwidthReadout())
        {
            blockLine(line);
        }
    }

    const QFontMetrics fm = p.fontMetrics();
    const QString pass = tr("Pass");
    const QString fail = tr("Fail");
    if (t.limitTest)
    {
        p.SetPenColor(color);
        const QString head = QString::asprintf("Tr%d ", index + 1) + tr("Limit: ");
        p.DrawString(head, cur.limit, Qt::AlignLeft);
        p.SetPenColor(t.limitPass ? Qt::green : Qt::red);
        p.DrawString(t.limitPass ? pass : fail, cur.limit.x() + fm.horizontalAdvance(head),
                     cur.limit.y(), Qt::AlignLeft);
        cur.limit.ry() -= lineH;
    }

    if (t.rippleTest)
    {
        QMutexLocker rippleLock(&t.rippleLock.mutex);
        for (int j = 0; j < t.rippleRanges.size(); ++j)
        {
            const VNARippleLimitRange& range = t.rippleRanges[j];
            if (range.type == RippleOff)
            {
                continue;
            }
            const VNARippleMeas m = t.rippleMeas.value(j);
            int x = cur.ripple.x();
            p.SetPenColor(color);
            const QString head = tr("Ripl %1: ").arg(j + 1);
            p.DrawString(head, x, cur.ripple.y(), Qt::AlignLeft);
            x += fm.horizontalAdvance(head);
            p.SetPenColor(m.pass ? Qt::green : Qt::red);
            const QString verdict = (m.pass ? pass : fail) + QLatin1Char(' ');
            p.DrawString(verdict, x, cur.ripple.y(), Qt::AlignLeft);
            x += fm.horizontalAdvance(verdict);
            p.SetPenColor(color);
            const double ripple = m.max - m.min;
            const QString value = range.type == RippleAbsolute
                                      ? tr("Abs") + QString::asprintf(" %.2f ", ripple) + t.unitRef
                                      : tr("Marg") +
                                            QString::asprintf(" %.2f ", range.maxRipple - ripple) +
                                            t.unitDiv;
            p.DrawString(value, x, cur.ripple.y(), Qt::AlignLeft);
            cur.ripple.ry() += lineH;
        }
    }
}

void VNAPlot::DrawTitle(VNAPainter& p)
{
    if (title.isEmpty())
    {
        return;
    }
    const QFont savedFont = p.font();
    const QPen savedPen = p.pen();
    QFont big = savedFont;
    if (savedFont.pointSizeF() > 0)
    {
        big.setPointSizeF(savedFont.pointSizeF() + 5);
    }
    else
    {
        big.setPixelSize(savedFont.pixelSize() + 5);
    }
    p.setFont(big);
    p.SetPenColor(Qt::gray);
    p.DrawString(title, int(plotRect.left() + p.Ascent()), int(plotRect.top() + p.Ascent()),
                 Qt::AlignLeft);
    p.setFont(savedFont);
    p.setPen(savedPen);
}

void VNAPlot::DrawCurves(VNAPainter& p, const VNATrace& t, const View& v, const QColor& color)
{
    const Preferences& prefs = Preferences::Get();
    QPen pen(color);
    pen.setWidthF(prefs.traceThickness);
    pen.setCosmetic(true);
    pen.setStyle(Qt::SolidLine);
    p.setPen(pen);
    const bool savedAntialias = p.testRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::Antialiasing, prefs.traceAntialiasing);

    const int columns = std::max(1, int(plotRect.width()));
    auto draw = [&](const QVector<double>& xs, const QVector<double>& ys)
    {
        const int n = std::min(xs.size(), ys.size());
        if (n > kDecimateFactor * columns)
        {
            DecimateCurve(xs, ys, v.xMin, v.sx, curve);
        }
        else
        {
            curve.resize(n);
            for (int i = 0; i < n; ++i)
            {
                curve[i] = QPointF(xs[i], ys[i]);
            }
        }
        p.drawPolyline(curve.constData(), curve.size());
    };
    draw(t.x, t.y);

    if (t.showMemTrace && !t.memX.isEmpty())
    {
        pen.setStyle(Qt::DashLine);
        p.setPen(pen);
        draw(t.memX, t.memY);
        pen.setStyle(Qt::SolidLine);
        p.setPen(pen);
    }

    if (t.limitTest && t.limitShow)
    {
        QMutexLocker limitLock(&t.limitLock.mutex);
        for (const VNALimitRange& r : t.limitRanges)
        {
            if (r.type != LimitOff)
            {
                p.drawLine(QPointF(r.startFreq, r.startOffset), QPointF(r.stopFreq, r.stopOffset));
            }
        }
    }

    if (t.rippleTest && t.rippleShow)
    {
        QMutexLocker rippleLock(&t.rippleLock.mutex);
        for (int j = 0; j < t.rippleRanges.size(); ++j)
        {
            const VNARippleLimitRange& r = t.rippleRanges[j];
            if (r.type == RippleOff)
            {
                continue;
            }
            const VNARippleMeas m = t.rippleMeas.value(j);
            const double c = (m.min + m.max) * 0.5;
            p.drawLine(QPointF(r.startFreq, c + r.maxRipple * 0.5),
                       QPointF(r.stopFreq, c + r.maxRipple * 0.5));
            p.drawLine(QPointF(r.startFreq, c - r.maxRipple * 0.5),
                       QPointF(r.stopFreq, c - r.maxRipple * 0.5));
        }
    }

    pen.setWidthF(1.0);
    p.setPen(pen);
    p.setRenderHint(QPainter::Antialiasing, savedAntialias);
}

void VNAPlot::DrawSweepIndicators(VNAPainter& p, const VNATrace& t, const VNAChannel* ch,
                                  double yTop, double yBottom)
{
    if (!ch)
    {
        return;
    }
    int first = 0, second = 0;
    {
        QMutexLocker measLock(&ch->measLock);
        first = ch->MeasAvg.positionStart;
        second = ch->MeasAvg.positionEnd;
    }
    const int points = ch->stimulus.points;
    const int n = std::min(t.x.size(), t.y.size());
    auto usable = [&](int index) { return index > 0 && index < points && index - 1 < n; };
    if (usable(first))
    {
        p.DrawPartialSweepIndicator(t.x[first - 1], yBottom, true);
    }
    if (usable(second))
    {
        double y = t.y[second - 1];
        bool up = false;
        if (y > yTop)
        {
            y = yTop;
        }
        else if (y < yBottom)
        {
            y = yBottom;
            up = true;
        }
        p.DrawPartialSweepIndicator(t.x[second - 1], y, up);
    }
}

// --- interaction -------------------------------------------------------------------------------

int VNAPlot::LabelHit(const QPoint& pos) const
{
    const int n = localTraces.size();
    const double lineH = QFontMetrics(QFont()).height();
    const int rows = (n - 1) / 2 + 1;
    if (pos.y() < 0 || pos.y() >= lineH * rows)
    {
        return -1;
    }
    const int index = (pos.x() > width() / 2 ? 1 : 0) + 2 * int(pos.y() / lineH);
    return index < n ? localTraces[index] : -1;
}

QRect VNAPlot::LeftMargin() const
{
    return QRect(QPoint(0, int(plotRect.top())),
                 QPoint(int(plotRect.left()) - 1, int(plotRect.top() + plotRect.height()) - 1));
}

int VNAPlot::TargetTrace() const
{
    if (localTraces.isEmpty())
    {
        return -1;
    }
    int selected = 0;
    {
        QMutexLocker lock(&dataMutex);
        selected = selectedTrace;
    }
    return localTraces.contains(selected) ? selected : localTraces.first();
}

void VNAPlot::mousePressEvent(QMouseEvent* event)
{
    if ((event->button() != Qt::LeftButton && event->button() != Qt::RightButton) ||
        localTraces.isEmpty())
    {
        return;
    }
    const QPoint pos = RoundPos(event->localPos());
    const int hit = LabelHit(pos);
    if (hit >= 0)
    {
        emit selectedTraceChanged(hit);
        return;
    }
    if (event->buttons() == Qt::RightButton)
    {
        return;
    }
    if (plotRect.contains(pos))
    {
        markerDrag = true;
        emit markerPlaced(localActiveTrace, (pos.x() - plotRect.left()) / plotRect.width());
    }
    if (LeftMargin().contains(pos))
    {
        refDrag = true;
        lastDragY = pos.y();
    }
    int selected = 0;
    {
        QMutexLocker lock(&dataMutex);
        selected = selectedTrace;
    }
    if (localActiveTrace != selected)
    {
        emit selectedTraceChanged(localActiveTrace);
    }
}

void VNAPlot::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint pos = RoundPos(event->localPos());
    if (markerDrag)
    {
        emit markerPlaced(localActiveTrace, (pos.x() - plotRect.left()) / plotRect.width());
    }
    if (refDrag)
    {
        // A graticule under ten pixels high has no whole division to step by.
        const int step = int(plotRect.height() / kDivisions);
        const int n = step > 0 ? (pos.y() - lastDragY) / step : 0;
        if (n != 0)
        {
            lastDragY += n * step;
            bool valid = false;
            double newRef = 0.0;
            {
                QMutexLocker lock(&dataMutex);
                const VNATrace* t = traces.value(localActiveTrace, nullptr);
                if (t)
                {
                    newRef = *t->ref() + n * *t->div();
                    valid = true;
                }
            }
            if (valid)
            {
                emit traceRefChanged(localActiveTrace, newRef);
            }
        }
    }
    setCursor(LeftMargin().contains(pos) ? Qt::SizeVerCursor : Qt::ArrowCursor);
    const int previous = hoveredTrace;
    hoveredTrace = -1;
    const int hit = LabelHit(pos);
    if (hit >= 0)
    {
        hoveredTrace = hit;
        setCursor(Qt::PointingHandCursor);
    }
    if (hoveredTrace != previous)
    {
        update();
    }
}

void VNAPlot::mouseReleaseEvent(QMouseEvent*)
{
    markerDrag = false;
    refDrag = false;
}

void VNAPlot::leaveEvent(QEvent*)
{
    hoveredTrace = -1;
}

void VNAPlot::wheelEvent(QWheelEvent* event)
{
    const int target = TargetTrace();
    if (target < 0)
    {
        return;
    }
    emit moveMarker(target, event->angleDelta().y() < 0);
}

void VNAPlot::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Left || event->key() == Qt::Key_Right)
    {
        const int target = TargetTrace();
        if (target >= 0)
        {
            emit moveMarker(target, event->key() == Qt::Key_Left);
        }
        return;
    }
    QWidget::keyPressEvent(event);
}

// --- context menu ------------------------------------------------------------------------------

void VNAPlot::contextMenuEvent(QContextMenuEvent* event)
{
    int trace = -1;
    for (const TraceLabelPos& l : labelPos)
    {
        if (l.rect.contains(event->pos()))
        {
            trace = l.trace;
            break;
        }
    }

    QMenu menu(this);
    if (trace < 0)
    {
        connect(menu.addAction(tr("Set Title")), &QAction::triggered, this,
                &VNAPlot::queryAndSetTitle);
        connect(menu.addAction(tr("Clear Title")), &QAction::triggered, this, &VNAPlot::clearTitle);
        menu.addSeparator();
        connect(menu.addAction(tr("Auto Scale All")), &QAction::triggered, this,
                &VNAPlot::traceAutoScaleAll);
        menu.addSeparator();
        connect(menu.addAction(tr("Disable Markers On Channel")), &QAction::triggered, this,
                &VNAPlot::markerDisableAllOnChannel);
        menu.exec(event->globalPos());
        return;
    }

    VNATraceMeas meas = S11;
    VNATraceFormat format = LogMag;
    int onPlot = -1;
    {
        QMutexLocker lock(&dataMutex);
        const VNATrace* t = traces.value(trace, nullptr);
        if (!t)
        {
            return;
        }
        meas = t->meas;
        format = t->format;
        onPlot = t->plot;
    }
    auto item = [&](QMenu* m, const QString& text, bool checked, const char* key, int value)
    {
        QAction* a = m->addAction(text);
        a->setCheckable(true);
        a->setChecked(checked);
        QVariantMap data;
        data.insert(QStringLiteral("Index"), trace);
        data.insert(QLatin1String(key), value);
        a->setData(data);
        return a;
    };

    QMenu* measMenu = menu.addMenu(tr("Meas"));
    for (int m = S11; m <= S22; ++m)
    {
        connect(item(measMenu, VNATraceMeasToStr(VNATraceMeas(m)), m == meas, "Meas", m),
                &QAction::triggered, this, &VNAPlot::traceMeasSelected);
    }
    QMenu* formatMenu = menu.addMenu(tr("Format"));
    for (int f = 0; f < kTraceFormatCount; ++f)
    {
        connect(
            item(formatMenu, VNATraceFormatToTruncStr(VNATraceFormat(f)), f == format, "Format", f),
            &QAction::triggered, this, &VNAPlot::traceFormatSelected);
    }
    menu.addSeparator();
    QMenu* plotMenu = menu.addMenu(tr("Plot"));
    QVector<VNAPlot*> self{this};
    for (const VNAPlot* other : plots ? *plots : self)
    {
        if (other)
        {
            const int number = other->Number();
            connect(item(plotMenu, QString::asprintf("%d", number + 1), number == onPlot, "Plot",
                         number),
                    &QAction::triggered, this, &VNAPlot::tracePlotSelected);
        }
    }

    auto plain = [&](const QString& text, void (VNAPlot::*slot)())
    {
        QAction* a = menu.addAction(text);
        a->setData(trace);
        connect(a, &QAction::triggered, this, slot);
    };
    menu.addSeparator();
    plain(tr("Auto Scale"), &VNAPlot::traceAutoScaleSelected);
    menu.addSeparator();
    plain(tr("Add Marker"), &VNAPlot::traceAddMarkerSelected);
    plain(tr("Marker Peak"), &VNAPlot::traceMarkerPeakSelected);
    plain(tr("Marker Min"), &VNAPlot::traceMarkerMinSelected);
    plain(tr("Disable Markers on Trace"), &VNAPlot::traceMarkerDisableAll);
    menu.addSeparator();
    plain(tr("Export Trace"), &VNAPlot::traceExportSelected);
    menu.addSeparator();
    plain(tr("Delete Trace"), &VNAPlot::traceDeleteSelected);
    menu.exec(event->globalPos());
}

int VNAPlot::ActionIndex(const char* key, int* value) const
{
    const QAction* a = qobject_cast<const QAction*>(sender());
    if (!a)
    {
        return -1;
    }
    const QVariant data = a->data();
    if (data.type() == QVariant::Map)
    {
        const QVariantMap map = data.toMap();
        if (value && key)
        {
            *value = map.value(QLatin1String(key)).toInt();
        }
        return map.value(QStringLiteral("Index"), -1).toInt();
    }
    bool ok = false;
    const int index = data.toInt(&ok);
    return ok ? index : -1;
}

void VNAPlot::queryAndSetTitle()
{
    bool ok = false;
    const QString text = QInputDialog::getText(this, tr("Plot Title"), tr("Enter plot title"),
                                               QLineEdit::Normal, title, &ok);
    if (ok)
    {
        SetTitle(text);
    }
}

void VNAPlot::clearTitle()
{
    SetTitle(QString());
}

void VNAPlot::traceAutoScaleSelected()
{
    emit autoScaleTrace(ActionIndex(nullptr, nullptr));
}

void VNAPlot::traceAutoScaleAll()
{
    QVector<VNATrace*> mine;
    {
        QMutexLocker lock(&dataMutex);
        for (int i : localTraces)
        {
            if (VNATrace* t = traces.value(i, nullptr))
            {
                mine.append(t);
            }
        }
    }
    for (VNATrace* t : mine)
    {
        emit autoScaleTrace(t);
    }
}

void VNAPlot::traceExportSelected()
{
    emit exportTrace(ActionIndex(nullptr, nullptr));
}

void VNAPlot::traceDeleteSelected()
{
    emit deleteTrace(ActionIndex(nullptr, nullptr));
}

void VNAPlot::traceAddMarkerSelected()
{
    emit addMarker(ActionIndex(nullptr, nullptr));
}

void VNAPlot::traceMarkerPeakSelected()
{
    const int index = ActionIndex(nullptr, nullptr);
    int marker = -1;
    {
        QMutexLocker lock(&dataMutex);
        const VNATrace* t = traces.value(index, nullptr);
        if (!t)
        {
            return;
        }
        marker = t->activeMarker;
    }
    emit markerPeakMax(index, marker);
}

void VNAPlot::traceMarkerMinSelected()
{
    const int index = ActionIndex(nullptr, nullptr);
    int marker = -1;
    {
        QMutexLocker lock(&dataMutex);
        const VNATrace* t = traces.value(index, nullptr);
        if (!t)
        {
            return;
        }
        marker = t->activeMarker;
    }
    emit markerPeakMin(index, marker);
}

void VNAPlot::traceMarkerDisableAll()
{
    const int index = ActionIndex(nullptr, nullptr);
    {
        QMutexLocker lock(&dataMutex);
        if (!traces.value(index, nullptr))
        {
            return;
        }
    }
    emit markerDisableAllOnTrace(index);
}

void VNAPlot::traceMeasSelected()
{
    int value = 0;
    const int index = ActionIndex("Meas", &value);
    emit setTraceMeas(index, VNATraceMeas(value));
}

void VNAPlot::traceFormatSelected()
{
    int value = 0;
    const int index = ActionIndex("Format", &value);
    emit setTraceFormat(index, VNATraceFormat(value));
}

void VNAPlot::tracePlotSelected()
{
    int value = 0;
    const int index = ActionIndex("Plot", &value);
    emit setTracePlot(index, value);
}
