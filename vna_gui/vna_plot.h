// One graticule with the traces assigned to it: background, grid or Smith chart, labels, axis
// texts, read-outs, curves, limit lines, markers and the sweep indicator. The plot owns no
// measurement data: it reads the model under the trace lock and forwards every interaction to the
// main window as a signal.
#pragma once

#include <QColor>
#include <QPainter>
#include <QPixmap>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QVector>
#include <QWidget>
#include <functional>

#include "network_parameters.h"
#include "trace_formats.h"

class QMutex;
class VNAChannel;
class VNAModel;
class VNATrace;

// QPainter with the text and symbol helpers of the plots.
class VNAPainter : public QPainter
{
public:
    VNAPainter() = default;
    explicit VNAPainter(QPaintDevice* device) : QPainter(device) {}

    int FontHeight() const;
    int Ascent() const;
    int FontDescent() const;
    void SetPenColor(const QColor& color);
    void LoadIdentity() { setWorldTransform(QTransform()); }

    // y is the baseline. AlignRight ends the text at x, AlignCenter centres it on x; any other
    // flag starts it at x.
    void DrawString(const QString& text, int x, int y, Qt::AlignmentFlag align);
    void DrawString(const QString& text, const QPoint& p, Qt::AlignmentFlag align)
    {
        DrawString(text, p.x(), p.y(), align);
    }

    // A triangle standing on (x, y) in the current data view, with its number above it
    // (16 "R", -1 "BW").
    void DrawMarker(int id, double x, double y);
    // An arrow whose head is on (x, y), pointing up or down.
    void DrawPartialSweepIndicator(double x, double y, bool up);
};

// Translucent cover of the plot area while a plot is dragged, with the drop target lightened.
class Overlay : public QWidget
{
    Q_OBJECT
public:
    struct PixmapEntry
    {
        QPoint pos;
        QPixmap pixmap;
    };

    Overlay(QWidget* parent, const QColor& color);

    QVector<PixmapEntry> pixmaps;
    bool dropValid = false;
    QRect dropRect;  // local coordinates
    bool globalDropValid = false;
    QRect globalDropRect;  // global coordinates

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor color;
};

// Scale of the Smith view: the unit circle stays round in a rectangle that is not square.
QPointF GetSmithScale(const QRectF& rect);

// Reduces a curve to what a raster of the given column width can show: for each run of
// consecutive points in one column it keeps the first, the lowest, the highest and the last, in
// their original order, so no single-point spike is lost. x0 and pixelsPerX map x to columns.
void DecimateCurve(const QVector<double>& x, const QVector<double>& y, double x0, double pixelsPerX,
                   QVector<QPointF>& out);

class VNAPlot : public QWidget
{
    Q_OBJECT
public:
    struct TraceLabelPos
    {
        int trace = -1;
        QRect rect;
    };

    VNAPlot(VNAModel& model, int number, QWidget* parent = nullptr);

    int Number() const { return plotNumber; }
    void SetPlotNumber(int number);
    void SetTitle(const QString& title);
    QString GetTitle() const { return title; }

    // The list of all plots (for the Plot submenu) and how many are visible (for the active
    // plot's highlight). Without them the menu offers this plot only and one plot counts.
    void SetPlotList(const QVector<VNAPlot*>* list) { plots = list; }
    void SetVisiblePlotCounter(std::function<int()> counter) { visiblePlots = std::move(counter); }

    // What the last paint laid out, for the handlers and for tests.
    QRectF PlotRect() const { return plotRect; }
    const QVector<int>& LocalTraces() const { return localTraces; }
    const QVector<TraceLabelPos>& LabelPositions() const { return labelPos; }
    int LocalActiveTrace() const { return localActiveTrace; }
    int HoveredTrace() const { return hoveredTrace; }
    // Trace-list index of the label under a widget position, or -1.
    int LabelHit(const QPoint& pos) const;

    QSize sizeHint() const override { return QSize(640, 400); }

    // Emits plotClosing; called just before the plot is deleted.
    void aboutToDestroy();

signals:
    void plotClosing(int plot);
    void selectedTraceChanged(int trace);
    void plotNumberChanged(int plot);
    void markerPlaced(int trace, double fraction);
    void moveMarker(int trace, bool left);
    void traceRefChanged(int trace, double ref);
    void setTracePlot(int trace, int plot);
    void setTraceMeas(int trace, VNATraceMeas meas);
    void setTraceFormat(int trace, VNATraceFormat format);
    void autoScaleTrace(int trace);
    void autoScaleTrace(VNATrace* trace);
    void addMarker(int trace);
    void markerPeakMax(int trace, int marker);
    void markerPeakMin(int trace, int marker);
    void markerDisableAllOnTrace(int trace);
    void markerDisableAllOnChannel();
    void exportTrace(int trace);
    void deleteTrace(int trace);

public slots:
    void queryAndSetTitle();
    void clearTitle();
    void traceAutoScaleSelected();
    void traceAutoScaleAll();
    void traceExportSelected();
    void traceDeleteSelected();
    void traceAddMarkerSelected();
    void traceMarkerPeakSelected();
    void traceMarkerMinSelected();
    void traceMarkerDisableAll();
    void traceMeasSelected();
    void traceFormatSelected();
    void tracePlotSelected();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    struct Cursors
    {
        QPoint marker, block, limit, ripple;
    };
    struct View
    {
        double xMin = 0.0, xMax = 1.0, yMin = 0.0, yMax = 1.0;
        double sx = 1.0, sy = 1.0;
    };

    void DrawTrace(VNAPainter& p, int index, int place, bool& rectGridDone, bool& smithGridDone,
                   Cursors& cur);
    void DrawGraticule(VNAPainter& p, double refPos);
    void DrawSmithGraticule(VNAPainter& p, const View& v, bool admittance);
    void DrawSmithChart(VNAPainter& p);
    void DrawLabel(VNAPainter& p, const VNATrace& t, int index, int place);
    void DrawAxisTexts(VNAPainter& p, const VNATrace& t, const VNAChannel* ch, double xMin,
                       double xMax);
    void DrawReadouts(VNAPainter& p, const VNATrace& t, int index, Cursors& cur);
    void DrawTitle(VNAPainter& p);
    void DrawCurves(VNAPainter& p, const VNATrace& t, const View& v, const QColor& color);
    // The trace's own gate on its time-domain view: the gated stretch shaded (hatched for a
    // notch), start and stop lines, a dashed centre line and a span bar (vna_plot_time.cpp).
    void DrawGate(VNAPainter& p, const VNATrace& t, const View& v, const QColor& color);
    // Markers and their read-outs (vna_plot_markers.cpp).
    void DrawMarkers(VNAPainter& p, const VNATrace& t, Cursors& cur);
    void DrawBandwidthMarkers(VNAPainter& p, const VNATrace& t);
    void DrawSweepIndicators(VNAPainter& p, const VNATrace& t, const VNAChannel* ch, double yTop,
                             double yBottom);
    void SetDataView(VNAPainter& p, const View& v, bool mirror);
    int TargetTrace() const;
    QRect LeftMargin() const;
    int ActionIndex(const char* key, int* value) const;

    VNAModel& model;
    QVector<VNAChannel*>& channels;
    QVector<VNATrace*>& traces;
    int& selectedTrace;
    QMutex& dataMutex;
    const QVector<VNAPlot*>* plots = nullptr;
    std::function<int()> visiblePlots;

    int plotNumber = 0;
    QVector<int> localTraces;
    int localActiveTrace = 0;
    QRectF plotRect;
    int lastDragY = 0;
    bool markerDrag = false;
    bool refDrag = false;
    int hoveredTrace = -1;
    QString title;
    QVector<TraceLabelPos> labelPos;
    // Reused across paints so a sweep of many points allocates nothing in steady state.
    QVector<QPointF> curve;
};
