#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QImage>
#include <QMutexLocker>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <cmath>

#include "application_settings.h"
#include "color_prefs.h"
#include "file_dialogs.h"
#include "preferences.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_model.h"
#include "vna_plot.h"
#include "vna_trace.h"

namespace
{
const QSize kSize(800, 500);

bool Near(QRgb p, const QColor& c, int tol = 12)
{
    return std::abs(qRed(p) - c.red()) <= tol && std::abs(qGreen(p) - c.green()) <= tol &&
           std::abs(qBlue(p) - c.blue()) <= tol;
}

// A pixel of the colour's hue, also where antialiasing blended it with the dark background.
bool Tinted(QRgb p, const QColor& c)
{
    const QColor q(p);
    const int dh = std::abs(q.hue() - c.hue());
    return q.value() > 70 && q.saturation() > 120 && std::min(dh, 360 - dh) <= 12;
}

bool Lit(QRgb p)
{
    return qRed(p) > 50 || qGreen(p) > 50 || qBlue(p) > 50;
}

// True when some pixel within r pixels of (x, y) passes the test.
template <typename Pred>
bool AnyAround(const QImage& img, double x, double y, int r, Pred pred)
{
    for (int dy = -r; dy <= r; ++dy)
    {
        for (int dx = -r; dx <= r; ++dx)
        {
            const QPoint p(int(std::floor(x)) + dx, int(std::floor(y)) + dy);
            if (img.rect().contains(p) && pred(img.pixel(p)))
            {
                return true;
            }
        }
    }
    return false;
}

bool ColorAround(const QImage& img, double x, double y, const QColor& c, int r = 2)
{
    return AnyAround(img, x, y, r, [&](QRgb p) { return Tinted(p, c); });
}

bool BrightAround(const QImage& img, double x, double y, int r = 2)
{
    return AnyAround(img, x, y, r, [](QRgb p) { return qGray(p) > 170; });
}

bool LitAround(const QImage& img, double x, double y, int r = 2)
{
    return AnyAround(img, x, y, r, Lit);
}

// Share of lit pixels along one row between two columns.
double LitShare(const QImage& img, int row, int x0, int x1)
{
    int lit = 0;
    for (int x = x0; x <= x1; ++x)
    {
        lit += Lit(img.pixel(x, row)) ? 1 : 0;
    }
    return double(lit) / (x1 - x0 + 1);
}

// The row near y with the most lit pixels, and its share.
double BestRowShare(const QImage& img, double y, int x0, int x1)
{
    double best = 0.0;
    for (int r = int(std::floor(y)) - 1; r <= int(std::floor(y)) + 1; ++r)
    {
        best = std::max(best, LitShare(img, r, x0, x1));
    }
    return best;
}

QImage Render(VNAPlot& plot, QSize size = kSize)
{
    plot.resize(size);
    QImage img(size, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    plot.render(&img);
    return img;
}

void SendMouse(QWidget& w, QEvent::Type type, QPoint pos, Qt::MouseButton button,
               Qt::MouseButtons buttons)
{
    QMouseEvent e(type, QPointF(pos), w.mapToGlobal(pos), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(&w, &e);
}
}  // namespace

class TestPlot : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void emptyPlotLayoutAndClicks();
    void rectangularGraticule();
    void traceCurveAndLimitLines();
    void smithAndAdmittanceCharts();
    void sweepArrowClampedInward();
    void labelsHitTestAndHover();
    void labelsKeepToTheirColumns_data();
    void labelsKeepToTheirColumns();
    void backgroundHighlight();
    void overlayLightensDropTargets();
    void markerAndReferenceDrags();
    void wheelKeysAndMenuSlots();
    void readoutBlocks();
    void decimationKeepsEveryColumnExtreme();
    void colorPrefsAndRememberedFolders();
    void settingsStoreRoundTrips();

private:
    int AddTrace(VNATraceFormat format, int plot = 0);
    VNATrace* Trace(int index) { return model->traces[index]; }
    // Fills a trace with n points from the channel's start to stop, values by f(fraction).
    void Fill(int index, int n, const std::function<double(double)>& f);

    VnaLib none;
    std::unique_ptr<VNAModel> model;
};

void TestPlot::initTestCase()
{
    testfx::IsolateUserFiles();
    // Colours on file before the colour record first exists: a colour replaces the default, a
    // value of another type is ignored.
    ApplicationSettings s(GetPreferencesIniPath());
    s.Clear();
    s.setValue("ColorPrefs/Trace1", QColor(1, 2, 3));
    s.setValue("ColorPrefs/Background", QStringLiteral("not a colour"));
    s.Sync();
    // A damaged colour whose model byte (41) is no colour model Qt knows is ignored too.
    {
        QFile f(GetPreferencesIniPath());
        QVERIFY(f.open(QIODevice::ReadOnly));
        QByteArray text = f.readAll();
        f.close();
        text.replace("[ColorPrefs]\n",
                     "[ColorPrefs]\nTrace2=@Variant(\\0\\0\\0\\x43)"
                     "\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0)\n");
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
    }
    QCOMPARE(ColorPrefs::Get().GetTraceColor(0), QColor(1, 2, 3));
    QCOMPARE(ColorPrefs::Get().background, QColor(0, 0, 0));
    const QColor kept = ColorPrefs::Get().GetTraceColor(1);
    ColorPrefs::Get().LoadDefaultsDark();
    QCOMPARE(kept, ColorPrefs::Get().GetTraceColor(1));
}

void TestPlot::init()
{
    model.reset(new VNAModel(&none));
    model->channels[0]->stimulus = testfx::Stimulus(1e9, 2e9, 201);
    Preferences& p = Preferences::Get();
    p.traceAntialiasing = false;
    p.traceThickness = 1.0;
    p.graticuleWidth = 1.0;
    p.graticuleDotted = true;
    p.highlightActivePlot = true;
    p.showSweepIndicator = true;
    ColorPrefs::Get().LoadDefaultsDark();
}

int TestPlot::AddTrace(VNATraceFormat format, int plot)
{
    QMutexLocker lock(&model->traceLock);
    int index = 0;
    VNATrace* t = model->InternalCreateTrace(index);
    t->SetChannel(0);
    t->SetPlot(plot);
    t->SetFormat(format);
    return index;
}

void TestPlot::Fill(int index, int n, const std::function<double(double)>& f)
{
    QMutexLocker lock(&model->traceLock);
    const VNAStimulus& st = model->channels[0]->stimulus;
    VNATrace* t = Trace(index);
    t->x.resize(n);
    t->y.resize(n);
    for (int i = 0; i < n; ++i)
    {
        const double u = double(i) / (n - 1);
        t->x[i] = st.start + (st.stop - st.start) * u;
        t->y[i] = f(u);
    }
}

void TestPlot::emptyPlotLayoutAndClicks()
{
    VNAPlot plot(*model, 0);
    const QImage img = Render(plot);
    const QFontMetrics fm(plot.font());
    const int h = fm.boundingRect("0123456789").height();
    const double left = fm.boundingRect("-000.00").width();
    const QRectF r = plot.PlotRect();
    QCOMPARE(r.top(), 1.5 * h);  // one text row kept even with no labels
    QCOMPARE(r.left(), left);
    QCOMPARE(r.width(), kSize.width() - fm.boundingRect("03").width() - left);
    QCOMPARE(r.height(), kSize.height() - h - r.top());

    // Border, but no grid inside and no title.
    QVERIFY(BestRowShare(img, r.top(), int(left) + 2, int(r.right()) - 2) > 0.95);
    for (int i = 1; i < 10; ++i)
    {
        QCOMPARE(
            LitShare(img, int(r.top() + i * r.height() / 10), int(left) + 2, int(r.right()) - 2),
            0.0);
    }
    QSignalSpy placed(&plot, &VNAPlot::markerPlaced);
    QSignalSpy selected(&plot, &VNAPlot::selectedTraceChanged);
    SendMouse(plot, QEvent::MouseButtonPress, r.center().toPoint(), Qt::LeftButton, Qt::LeftButton);
    SendMouse(plot, QEvent::MouseButtonPress, QPoint(5, 5), Qt::LeftButton, Qt::LeftButton);
    QCOMPARE(placed.count(), 0);
    QCOMPARE(selected.count(), 0);

    // Thirteen traces take seven label rows.
    for (int i = 0; i < 13; ++i)
    {
        AddTrace(LogMag);
    }
    Render(plot);
    QCOMPARE(plot.PlotRect().top(), 7.5 * h);
    QCOMPARE(plot.LabelPositions().size(), 13);
}

void TestPlot::rectangularGraticule()
{
    const int tr = AddTrace(LogMag);
    *Trace(tr)->refPos() = 3.0;
    VNAPlot plot(*model, 0);
    QImage img = Render(plot);
    const QRectF r = plot.PlotRect();
    const int x0 = int(r.left()) + 3, x1 = int(r.right()) - 3;
    for (int i = 1; i < 10; ++i)
    {
        const double y = r.top() + i * r.height() / 10;
        const double share = BestRowShare(img, y, x0, x1);
        if (i == 3)
        {
            QVERIFY2(share > 0.97, "reference line solid");
        }
        else
        {
            QVERIFY2(share > 0.3 && share < 0.8, qPrintable(QString("dotted row %1").arg(i)));
        }
        // Halfway between two lines only the vertical lines cross.
        QVERIFY(LitShare(img, int(y + r.height() / 20), x0, x1) < 0.05);
        const double x = r.left() + i * r.width() / 10;
        int lit = 0;
        for (int row = int(r.top()) + 3; row < int(r.bottom()) - 3; ++row)
        {
            lit += (LitAround(img, x, row, 1)) ? 1 : 0;
        }
        QVERIFY(lit > 0.3 * (r.height() - 6));
    }

    // Solid grid when dotting is off; the grid is half-transparent graticule colour.
    Preferences::Get().graticuleDotted = false;
    img = Render(plot);
    const double y5 = r.top() + 5 * r.height() / 10;
    QVERIFY(BestRowShare(img, y5, x0, x1) > 0.97);
    int row = int(std::floor(y5)) - 1;
    while (!Lit(img.pixel(x0 + 7, row)))
    {
        ++row;
    }
    QVERIFY(std::abs(qRed(img.pixel(x0 + 7, row)) - 128) < 10);
}

void TestPlot::traceCurveAndLimitLines()
{
    const int tr = AddTrace(LogMag);
    const double yTop = 20.0, yBottom = -80.0;  // reference 20 at the top, 10 per division
    Fill(tr, 201, [&](double u) { return yBottom + (yTop - yBottom) * (0.1 + 0.8 * u); });
    {
        QMutexLocker lock(&model->traceLock);
        VNATrace* t = Trace(tr);
        t->limitTest = true;
        t->limitShow = true;
        t->limitRanges = {VNALimitRange{LimitMax, 1.2e9, 1.8e9, 5.0, 5.0},
                          VNALimitRange{LimitOff, 1.2e9, 1.8e9, -65.0, -65.0}};
        // The ripple band is centred on what was measured in its range.
        t->rippleTest = true;
        t->rippleShow = true;
        t->rippleRanges = {VNARippleLimitRange{RippleAbsolute, 1.2e9, 1.4e9, 20.0}};
        t->rippleMeas = {VNARippleMeas{-75.0, -55.0, true}};
    }
    VNAPlot plot(*model, 0);
    const QImage img = Render(plot);
    const QRectF r = plot.PlotRect();
    const QColor color = ColorPrefs::Get().GetTraceColor(tr);
    auto px = [&](double f) { return r.left() + (f - 1e9) / 1e9 * r.width(); };
    auto py = [&](double v) { return r.top() + (yTop - v) / (yTop - yBottom) * r.height(); };
    const VNATrace* t = Trace(tr);
    for (int k : {10, 50, 100, 150, 190})
    {
        QVERIFY2(ColorAround(img, px(t->x[k]), py(t->y[k]), color),
                 qPrintable(QString("point %1").arg(k)));
        QVERIFY(!ColorAround(img, px(t->x[k]), py(t->y[k]) + r.height() * 0.2, color));
    }
    // The active limit range is drawn at its level; the one switched off is not.
    QVERIFY(ColorAround(img, px(1.5e9), py(5.0), color, 1));
    QVERIFY(!ColorAround(img, px(1.3e9), py(-65.0), color, 2));
    QVERIFY(!ColorAround(img, px(1.9e9), py(5.0), color, 2));  // past the range's end
    QVERIFY(ColorAround(img, px(1.3e9), py(-55.0), color, 1));
    QVERIFY(ColorAround(img, px(1.3e9), py(-75.0), color, 1));
    QVERIFY(!ColorAround(img, px(1.3e9), py(-65.0), color, 3));
}

void TestPlot::smithAndAdmittanceCharts()
{
    const int tr = AddTrace(SmithRI);
    VNAPlot plot(*model, 0);
    QImage img = Render(plot);
    const QRectF r = plot.PlotRect();
    const double radius = std::min(r.width(), r.height()) / 2.0 / *Trace(tr)->ref();
    const QPointF c = r.center();
    auto at = [&](double re, double im)
    { return QPointF(c.x() + re * radius, c.y() - im * radius); };
    for (int deg = 0; deg < 360; deg += 30)
    {
        const QPointF p = at(std::cos(deg * M_PI / 180), std::sin(deg * M_PI / 180));
        QVERIFY2(BrightAround(img, p.x(), p.y()),
                 qPrintable(QString("unit circle at %1 degrees").arg(deg)));
    }
    const QPointF outside = at(1.15, 0.0);
    QVERIFY(r.contains(outside));
    QVERIFY(!LitAround(img, outside.x(), outside.y(), 2));
    // The resistance circle of 1/2 passes (0.75, 0.433) on the impedance chart only; the
    // admittance chart is its mirror image.
    const QPointF right = at(0.5 + 0.5 * std::cos(M_PI / 3), 0.5 * std::sin(M_PI / 3));
    const QPointF left = at(-0.5 - 0.5 * std::cos(M_PI / 3), 0.5 * std::sin(M_PI / 3));
    QVERIFY(LitAround(img, right.x(), right.y(), 2));
    QVERIFY(!LitAround(img, left.x(), left.y(), 2));
    Trace(tr)->SetFormat(SmithGB);
    img = Render(plot);
    QVERIFY(!LitAround(img, right.x(), right.y(), 2));
    QVERIFY(LitAround(img, left.x(), left.y(), 2));
}

void TestPlot::sweepArrowClampedInward()
{
    const int tr = AddTrace(LogMag);
    VNAChannel& ch = *model->channels[0];
    const int p = 120;
    ch.MeasAvg.positionStart = 0;
    ch.MeasAvg.positionEnd = p + 1;
    VNAPlot plot(*model, 0);
    const QColor color = ColorPrefs::Get().GetTraceColor(tr);
    for (double value : {500.0, -500.0})  // far above the top and far below the bottom
    {
        Fill(tr, 201, [&](double) { return value; });
        const QImage img = Render(plot);
        const QRectF r = plot.PlotRect();
        const int fh = QFontMetrics(plot.font()).height();
        const double x = r.left() + (Trace(tr)->x[p] - 1e9) / 1e9 * r.width();
        const double edge = value > 0 ? r.top() : r.bottom();
        const int inward = value > 0 ? 1 : -1;
        // The shaft runs from the edge into the graticule.
        int shaft = 0;
        for (int k = 2; k < fh - 1; ++k)
        {
            shaft += ColorAround(img, x, edge + inward * k, color, 1) ? 1 : 0;
        }
        QVERIFY2(shaft >= fh - 4, qPrintable(QString("shaft for %1").arg(value)));
        // Nothing else of the trace is inside: the curve itself is off the scale.
        for (int y = int(r.top()) + fh + 3; y < int(r.bottom()) - fh - 3; ++y)
        {
            QVERIFY(!Tinted(img.pixel(int(x), y), color));
        }
    }
    // Without the preference no arrow appears.
    Preferences::Get().showSweepIndicator = false;
    const QImage img = Render(plot);
    const QRectF r = plot.PlotRect();
    const double x = r.left() + (Trace(tr)->x[p] - 1e9) / 1e9 * r.width();
    QVERIFY(!ColorAround(img, x, r.bottom() - 6, color, 1));
}

void TestPlot::labelsHitTestAndHover()
{
    const int a = AddTrace(LogMag), b = AddTrace(PhaseDeg), c = AddTrace(SWR);
    model->selectedTraceIndex = a;
    VNAPlot plot(*model, 0);
    QImage img = Render(plot);
    const auto& labels = plot.LabelPositions();
    QCOMPARE(labels.size(), 3);
    // Two columns, left first.
    QCOMPARE(labels[0].rect.left(), labels[2].rect.left());
    QVERIFY(labels[1].rect.left() >= kSize.width() / 2 - 2);
    QVERIFY(labels[2].rect.top() > labels[0].rect.bottom() - 2);

    // The selected trace's label is filled with its colour.
    const QRect sel = labels[0].rect;
    int filled = 0;
    for (int y = sel.top(); y <= sel.bottom(); ++y)
    {
        for (int x = sel.left(); x <= sel.right(); ++x)
        {
            filled += Near(img.pixel(x, y), ColorPrefs::Get().GetTraceColor(a)) ? 1 : 0;
        }
    }
    QVERIFY(filled > sel.width() * sel.height() / 2);

    const double lh = QFontMetrics(QFont()).height();
    QSignalSpy selected(&plot, &VNAPlot::selectedTraceChanged);
    SendMouse(plot, QEvent::MouseButtonPress, QPoint(kSize.width() * 3 / 4, int(lh * 0.5)),
              Qt::LeftButton, Qt::LeftButton);
    SendMouse(plot, QEvent::MouseButtonPress, QPoint(20, int(lh * 1.5)), Qt::LeftButton,
              Qt::LeftButton);
    QCOMPARE(selected.count(), 2);
    QCOMPARE(selected[0][0].toInt(), b);
    QCOMPARE(selected[1][0].toInt(), c);
    // The empty place in the right column is past the end: ignored, and a is already selected.
    QCOMPARE(plot.LabelHit(QPoint(kSize.width() * 3 / 4, int(lh * 1.5))), -1);
    SendMouse(plot, QEvent::MouseButtonPress, QPoint(kSize.width() * 3 / 4, int(lh * 1.5)),
              Qt::LeftButton, Qt::LeftButton);
    QCOMPARE(selected.count(), 2);

    // Hover lightens the label; leaving clears it.
    SendMouse(plot, QEvent::MouseMove, QPoint(kSize.width() * 3 / 4, int(lh * 0.5)), Qt::NoButton,
              Qt::NoButton);
    QCOMPARE(plot.HoveredTrace(), b);
    img = Render(plot);
    const QRect hov = plot.LabelPositions()[1].rect;
    QColor faint = ColorPrefs::Get().GetTraceColor(b);
    faint.setRgb(faint.red() * 0x3c / 255, faint.green() * 0x3c / 255, faint.blue() * 0x3c / 255);
    int tinted = 0;
    for (int x = hov.left(); x <= hov.right(); ++x)
    {
        tinted += Near(img.pixel(x, hov.top()), faint, 3) ? 1 : 0;
    }
    QVERIFY(tinted > hov.width() / 2);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&plot, &leave);
    QCOMPARE(plot.HoveredTrace(), -1);
}

void TestPlot::labelsKeepToTheirColumns_data()
{
    QTest::addColumn<int>("plots");
    // Plots side by side in a window 1600 pixels wide: 800, 400 and 200 pixels each.
    QTest::newRow("2 plots") << 2;
    QTest::newRow("4 plots") << 4;
    QTest::newRow("8 plots") << 8;
}

void TestPlot::labelsKeepToTheirColumns()
{
    QFETCH(int, plots);
    const QSize size(1600 / plots, 400);
    int tr[4];
    for (int& t : tr)
    {
        t = AddTrace(LogMag);
    }
    model->selectedTraceIndex = tr[1];
    VNAPlot plot(*model, 0);
    const QFontMetrics fm(plot.font());
    const int fh = fm.height();
    const int half = size.width() / 2;
    auto band = [&](int place) { return QRect(0, fh * (place >> 1), size.width(), fh); };
    auto column = [&](int place)
    { return place & 1 ? QRect(half, 0, size.width() - half, 400) : QRect(0, 0, half, 400); };

    // Dark theme: every pixel of a label's colour stays in its column, the selected label's box
    // included, and every label shows.
    QImage img = Render(plot, size);
    for (int place = 0; place < 4; ++place)
    {
        const QColor color = ColorPrefs::Get().GetTraceColor(tr[place]);
        int inside = 0;
        const QRect b = band(place);
        for (int y = b.top(); y <= b.bottom(); ++y)
        {
            for (int x = 0; x < size.width(); ++x)
            {
                if (Tinted(img.pixel(x, y), color))
                {
                    QVERIFY2(column(place).contains(x, y),
                             qPrintable(QStringLiteral("label %1 at x %2").arg(place).arg(x)));
                    ++inside;
                }
            }
        }
        QVERIFY(inside > 20);
    }

    // Light theme, where black text shows on the background too: the selected label's box
    // covers all of its text, and a label too wide for its column ends in an ellipsis, whose
    // dots sit on the baseline, instead of a cut letter.
    ColorPrefs::Get().LoadDefaultsLight();
    img = Render(plot, size);
    const QColor boxColor = ColorPrefs::Get().GetTraceColor(tr[1]);
    const QRect b = band(1);
    int boxLeft = size.width(), boxRight = -1, inkLeft = size.width(), inkRight = -1;
    for (int y = b.top(); y <= b.bottom(); ++y)
    {
        for (int x = 0; x < size.width(); ++x)
        {
            const QRgb p = img.pixel(x, y);
            if (Near(p, boxColor))
            {
                boxLeft = std::min(boxLeft, x);
                boxRight = std::max(boxRight, x);
            }
            else if (x >= half && Near(p, Qt::black, 80))
            {
                inkLeft = std::min(inkLeft, x);
                inkRight = std::max(inkRight, x);
            }
        }
    }
    QVERIFY(inkRight > inkLeft);
    QVERIFY2(boxLeft <= inkLeft && inkRight < boxRight,
             qPrintable(QStringLiteral("box %1..%2, text %3..%4")
                            .arg(boxLeft)
                            .arg(boxRight)
                            .arg(inkLeft)
                            .arg(inkRight)));
    QVERIFY(column(1).contains(boxLeft, b.top()) && column(1).contains(boxRight, b.top()));

    // The unselected labels: the last glyph's ink, as wide as an ellipsis, lies low on the line
    // exactly when the text needed cutting. 800 pixels hold a whole label.
    const int dotsWidth = fm.horizontalAdvance(QChar(0x2026));
    const int baseline = fh - fm.descent();
    for (int place : {0, 2, 3})
    {
        const QColor color = ColorPrefs::Get().GetTraceColor(tr[place]);
        const QRect r = band(place).intersected(column(place));
        int right = -1;
        for (int x = r.left(); x <= r.right(); ++x)
        {
            for (int y = r.top(); y <= r.bottom(); ++y)
            {
                right = Tinted(img.pixel(x, y), color) ? x : right;
            }
        }
        QVERIFY(right > r.left());
        int highest = fh;
        for (int x = right - dotsWidth / 2; x <= right; ++x)
        {
            for (int y = r.top(); y <= r.bottom(); ++y)
            {
                if (Tinted(img.pixel(x, y), color))
                {
                    highest = std::min(highest, y - r.top());
                }
            }
        }
        const bool lowInk = highest > baseline - fm.xHeight() / 2;
        QCOMPARE(lowInk, plots > 2);
    }
}

void TestPlot::backgroundHighlight()
{
    const int a = AddTrace(LogMag, 0);
    AddTrace(LogMag, 1);
    model->selectedTraceIndex = a;
    VNAPlot plot(*model, 0);
    int visible = 2;
    plot.SetVisiblePlotCounter([&] { return visible; });
    const QPoint corner(1, kSize.height() - 2);
    QCOMPARE(QColor(Render(plot).pixel(corner)), ColorPrefs::Get().activeBackground);
    visible = 1;
    QCOMPARE(QColor(Render(plot).pixel(corner)), ColorPrefs::Get().background);
    visible = 2;
    Preferences::Get().highlightActivePlot = false;
    QCOMPARE(QColor(Render(plot).pixel(corner)), ColorPrefs::Get().background);
    Preferences::Get().highlightActivePlot = true;
    {
        QMutexLocker lock(&model->traceLock);
        delete model->traces[1];
        model->traces[1] = nullptr;  // one trace in all
    }
    QCOMPARE(QColor(Render(plot).pixel(corner)), ColorPrefs::Get().background);
}

void TestPlot::overlayLightensDropTargets()
{
    QWidget host;
    host.resize(200, 100);
    Overlay overlay(&host, QColor(0, 0, 200));
    overlay.resize(200, 100);
    overlay.dropValid = true;
    overlay.dropRect = QRect(10, 10, 30, 30);
    overlay.globalDropValid = true;
    overlay.globalDropRect = QRect(overlay.mapToGlobal(QPoint(120, 50)), QSize(40, 30));
    QImage img(200, 100, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::black);
    overlay.render(&img);
    const QColor base(img.pixel(80, 80));
    QCOMPARE(base, QColor(0, 0, 200));
    for (const QPoint p : {QPoint(20, 20), QPoint(140, 60)})
    {
        const QColor lit(img.pixel(p));
        QVERIFY(lit.red() > 100 && lit.blue() > 200);  // white at alpha 150 over the colour
    }
    QCOMPARE(QColor(img.pixel(100, 20)), base);
}

void TestPlot::markerAndReferenceDrags()
{
    const int a = AddTrace(LogMag);
    const int b = AddTrace(LogMag);
    *Trace(b)->ref() = 5.0;
    Trace(b)->SetDiv(2.0);
    model->selectedTraceIndex = b;
    VNAPlot plot(*model, 0);
    Render(plot);
    const QRectF r = plot.PlotRect();
    QSignalSpy placed(&plot, &VNAPlot::markerPlaced);
    QSignalSpy refs(&plot, &VNAPlot::traceRefChanged);
    QSignalSpy selected(&plot, &VNAPlot::selectedTraceChanged);

    const QPoint start(int(r.left() + 100), int(r.center().y()));
    SendMouse(plot, QEvent::MouseButtonPress, start, Qt::LeftButton, Qt::LeftButton);
    SendMouse(plot, QEvent::MouseMove, start + QPoint(57, 9), Qt::NoButton, Qt::LeftButton);
    SendMouse(plot, QEvent::MouseButtonRelease, start + QPoint(57, 9), Qt::LeftButton,
              Qt::NoButton);
    SendMouse(plot, QEvent::MouseMove, start + QPoint(80, 0), Qt::NoButton, Qt::NoButton);
    QCOMPARE(placed.count(), 2);
    QCOMPARE(placed[0][0].toInt(), b);
    QCOMPARE(placed[0][1].toDouble(), (start.x() - r.left()) / r.width());
    QCOMPARE(placed[1][1].toDouble(), (start.x() + 57 - r.left()) / r.width());
    QCOMPARE(selected.count(), 0);  // the active trace is already the selected one

    // Right button alone: no marker, no drag.
    SendMouse(plot, QEvent::MouseButtonPress, start, Qt::RightButton, Qt::RightButton);
    SendMouse(plot, QEvent::MouseMove, start + QPoint(10, 0), Qt::NoButton, Qt::RightButton);
    QCOMPARE(placed.count(), 2);

    // Reference drag in the left margin: whole divisions only, downward raises the reference.
    const int step = int(r.height() / 10);
    const QPoint margin(int(r.left() / 2), int(r.top() + 20));
    SendMouse(plot, QEvent::MouseButtonPress, margin, Qt::LeftButton, Qt::LeftButton);
    SendMouse(plot, QEvent::MouseMove, margin + QPoint(0, step - 1), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(refs.count(), 0);
    SendMouse(plot, QEvent::MouseMove, margin + QPoint(0, step + 1), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(refs.count(), 1);
    QCOMPARE(refs[0][0].toInt(), b);
    QCOMPARE(refs[0][1].toDouble(), 5.0 + 2.0);
    SendMouse(plot, QEvent::MouseMove, margin + QPoint(0, -step - 1), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(refs.count(), 2);
    QCOMPARE(refs[1][1].toDouble(), 5.0 - 2 * 2.0);  // two steps back up from the last one
    SendMouse(plot, QEvent::MouseButtonRelease, margin, Qt::LeftButton, Qt::NoButton);

    // A click in the plot while another plot holds the selection selects the local trace.
    model->selectedTraceIndex = 7;
    SendMouse(plot, QEvent::MouseButtonPress, start, Qt::LeftButton, Qt::LeftButton);
    QCOMPARE(selected.count(), 1);
    QCOMPARE(selected[0][0].toInt(), b);  // still the plot's active trace
    Q_UNUSED(a);
}

void TestPlot::wheelKeysAndMenuSlots()
{
    const int a = AddTrace(LogMag), b = AddTrace(LogMag);
    const int elsewhere = AddTrace(LogMag, 3);
    model->selectedTraceIndex = elsewhere;
    Trace(b)->activeMarker = 4;
    VNAPlot plot(*model, 0);
    Render(plot);
    QSignalSpy moves(&plot, &VNAPlot::moveMarker);
    QWheelEvent down(QPointF(100, 100), QPointF(100, 100), QPoint(), QPoint(0, -120), Qt::NoButton,
                     Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&plot, &down);
    QTest::keyClick(&plot, Qt::Key_Right);
    model->selectedTraceIndex = b;
    QTest::keyClick(&plot, Qt::Key_Left);
    QCOMPARE(moves.count(), 3);
    QCOMPARE(moves[0][0].toInt(), a);  // selection not on this plot: the first local trace
    QCOMPARE(moves[0][1].toBool(), true);
    QCOMPARE(moves[1][1].toBool(), false);
    QCOMPARE(moves[2][0].toInt(), b);
    QCOMPARE(moves[2][1].toBool(), true);

    // Menu items carry the trace index, alone or in a map.
    int formatTrace = -1;
    VNATraceFormat format = LogMag;
    connect(&plot, &VNAPlot::setTraceFormat, this,
            [&](int t, VNATraceFormat f)
            {
                formatTrace = t;
                format = f;
            });
    QAction formatItem;
    formatItem.setData(QVariantMap{{"Index", b}, {"Format", int(SWR)}});
    connect(&formatItem, &QAction::triggered, &plot, &VNAPlot::traceFormatSelected);
    formatItem.trigger();
    QCOMPARE(formatTrace, b);
    QCOMPARE(format, SWR);

    QSignalSpy toPlot(&plot, &VNAPlot::setTracePlot);
    QAction plotItem;
    plotItem.setData(QVariantMap{{"Index", a}, {"Plot", 5}});
    connect(&plotItem, &QAction::triggered, &plot, &VNAPlot::tracePlotSelected);
    plotItem.trigger();
    QCOMPARE(toPlot.count(), 1);
    QCOMPARE(toPlot[0][1].toInt(), 5);

    QSignalSpy peaks(&plot, &VNAPlot::markerPeakMax);
    QAction peakItem;
    connect(&peakItem, &QAction::triggered, &plot, &VNAPlot::traceMarkerPeakSelected);
    peakItem.setData(b);
    peakItem.trigger();
    peakItem.setData(99);  // no such trace: nothing
    peakItem.trigger();
    QCOMPARE(peaks.count(), 1);
    QCOMPARE(peaks[0][0].toInt(), b);
    QCOMPARE(peaks[0][1].toInt(), 4);

    QVector<VNATrace*> scaled;
    connect(&plot, qOverload<VNATrace*>(&VNAPlot::autoScaleTrace), this,
            [&](VNATrace* t) { scaled.append(t); });
    plot.traceAutoScaleAll();
    QCOMPARE(scaled, (QVector<VNATrace*>{Trace(a), Trace(b)}));

    QSignalSpy numbers(&plot, &VNAPlot::plotNumberChanged);
    QSignalSpy closing(&plot, &VNAPlot::plotClosing);
    plot.SetPlotNumber(3);
    plot.aboutToDestroy();
    QCOMPARE(numbers[0][0].toInt(), 3);
    QCOMPARE(closing[0][0].toInt(), 3);
}

void TestPlot::readoutBlocks()
{
    const int tr = AddTrace(LogMag);
    Fill(tr, 201, [](double u) { return -40.0 + 10.0 * std::sin(6.0 * u); });
    VNAPlot plot(*model, 0);
    const QImage plain = Render(plot);
    const QRectF r = plot.PlotRect();
    const int fh = QFontMetrics(plot.font()).height();
    auto count = [&](const QImage& img, QRect area, auto pred)
    {
        int n = 0;
        for (int y = area.top(); y <= area.bottom(); ++y)
        {
            for (int x = area.left(); x <= area.right(); ++x)
            {
                n += pred(img.pixel(x, y)) ? 1 : 0;
            }
        }
        return n;
    };
    auto green = [](QRgb p) { return qGreen(p) > 120 && qRed(p) < 60 && qBlue(p) < 60; };
    auto red = [](QRgb p) { return qRed(p) > 120 && qGreen(p) < 60 && qBlue(p) < 60; };
    const QRect bottomLeft(int(r.left()) + 1, int(r.bottom()) - fh, int(r.width() / 3), fh - 1);

    {
        QMutexLocker lock(&model->traceLock);
        Trace(tr)->limitTest = true;
        Trace(tr)->limitPass = true;
    }
    QImage img = Render(plot);
    QVERIFY(count(img, bottomLeft, green) > 10);
    QCOMPARE(count(img, bottomLeft, red), 0);
    Trace(tr)->limitPass = false;
    img = Render(plot);
    QVERIFY(count(img, bottomLeft, red) > 10);

    // Statistics and bandwidth texts end at the centre, below the top edge.
    const QColor color = ColorPrefs::Get().GetTraceColor(tr);
    const QRect block(int(r.center().x()) - 150, int(r.top()) + 1, 150, fh * 12);
    auto traceColored = [&](QRgb p) { return Near(p, color, 40); };
    const int before = count(plain, block, traceColored);
    Trace(tr)->statsEnabled = true;
    Trace(tr)->bwSearchEnabled = true;
    img = Render(plot);
    QVERIFY(count(img, block, traceColored) > before + 100);
    // Nothing of the block spills right of the centre.
    const QRect rightOfCentre(int(r.center().x()) + 2, int(r.top()) + 1, 40, fh * 12);
    QCOMPARE(count(img, rightOfCentre, traceColored), count(plain, rightOfCentre, traceColored));

    // A marker puts its read-out at the top right, and its symbol above the point.
    {
        QMutexLocker lock(&model->traceLock);
        VNAMarker& m = Trace(tr)->markers[0];
        m.enabled = true;
        m.x = Trace(tr)->x[100];
        m.y = Trace(tr)->y[100];
        m.f = m.x;
    }
    img = Render(plot);
    const QRect topRight(int(r.right()) - 120, int(r.top()) + 1, 118, fh);
    QVERIFY(count(img, topRight, traceColored) > count(plain, topRight, traceColored) + 20);
    const double mx = r.left() + (Trace(tr)->x[100] - 1e9) / 1e9 * r.width();
    const double my = r.top() + (20.0 - Trace(tr)->y[100]) / 100.0 * r.height();
    QVERIFY(ColorAround(img, mx, my - fh / 2.0, color, fh / 4));

    // A title is drawn in gray.
    plot.SetTitle("Title");
    img = Render(plot);
    const QRect titleArea(int(r.left()) + 1, int(r.top()) + 1, 150, fh + 8);
    auto gray = [](QRgb p)
    {
        return qRed(p) > 60 && std::abs(qRed(p) - qGreen(p)) < 6 &&
               std::abs(qBlue(p) - qRed(p)) < 10 && qRed(p) < 200;
    };
    QVERIFY(count(img, titleArea, gray) > count(plain, titleArea, gray) + 10);
}

void TestPlot::decimationKeepsEveryColumnExtreme()
{
    // Noise with isolated one-point spikes both ways.
    const int n = 64001;
    QVector<double> x(n), y(n);
    quint32 seed = 12345;
    for (int i = 0; i < n; ++i)
    {
        seed = seed * 1664525u + 1013904223u;
        x[i] = 1e9 + i * 1e4;
        y[i] = double(seed % 1000) / 1000.0;
        if (i % 7919 == 0)
        {
            y[i] = (i % 2 ? 50.0 : -50.0);
        }
    }
    const double ppx = 700.0 / (x.last() - x.first());
    QVector<QPointF> out;
    DecimateCurve(x, y, x.first(), ppx, out);
    QVERIFY(out.size() <= 4 * 701);
    QCOMPARE(out.first(), QPointF(x.first(), y.first()));
    QCOMPARE(out.last(), QPointF(x.last(), y.last()));
    QMap<int, QPair<double, double>> in, kept;
    auto add = [&](QMap<int, QPair<double, double>>& m, double xv, double yv)
    {
        const int col = int(std::floor((xv - x.first()) * ppx));
        auto it = m.find(col);
        if (it == m.end())
        {
            m.insert(col, {yv, yv});
        }
        else
        {
            it->first = std::min(it->first, yv);
            it->second = std::max(it->second, yv);
        }
    };
    for (int i = 0; i < n; ++i)
    {
        add(in, x[i], y[i]);
    }
    for (int i = 0; i < out.size(); ++i)
    {
        add(kept, out[i].x(), out[i].y());
        QVERIFY(i == 0 || out[i].x() > out[i - 1].x());  // order and no repeats
    }
    QCOMPARE(kept, in);

    // End to end: one spike among 64001 flat points reaches its row on screen.
    const int tr = AddTrace(LogMag);
    const int spike = 40000;
    Fill(tr, n, [](double) { return -60.0; });
    Trace(tr)->y[spike] = 10.0;
    VNAPlot plot(*model, 0);
    const QImage img = Render(plot);
    const QRectF r = plot.PlotRect();
    const double sx = r.left() + (Trace(tr)->x[spike] - 1e9) / 1e9 * r.width();
    const double sy = r.top() + (20.0 - 10.0) / 100.0 * r.height();
    QVERIFY(ColorAround(img, sx, sy, ColorPrefs::Get().GetTraceColor(tr), 1));
}

void TestPlot::colorPrefsAndRememberedFolders()
{
    ColorPrefs& c = ColorPrefs::Get();
    QCOMPARE(c.GetTraceColor(9), c.GetTraceColor(0));  // nine colours, then round again
    c.SetTraceColor(4, QColor(9, 8, 7));
    c.Save();
    c.LoadDefaultsLight();
    QCOMPARE(c.background, QColor(255, 255, 255));
    c.Load();
    QCOMPARE(c.GetTraceColor(4), QColor(9, 8, 7));
    QCOMPARE(c.background, QColor(0, 0, 0));  // saved from the dark set
    c.LoadDefaultsDark();

    const QString docs = GetMyDocumentsPath();
    QCOMPARE(GetDefaultUserDirectory("DefaultSNPSaveDirectory"), docs);
    QTemporaryDir dir;
    SetDefaultUserDirectory("DefaultSNPSaveDirectory", dir.path());
    QCOMPARE(GetDefaultUserDirectory("DefaultSNPSaveDirectory"), dir.path());
    SetDefaultUserDirectory("DefaultSNPSaveDirectory", dir.path() + "/gone");
    QCOMPARE(GetDefaultUserDirectory("DefaultSNPSaveDirectory"), docs);

    // The save dialog starts in the remembered folder with the suggested name, and the folder of
    // the chosen file is remembered.
    SetDefaultUserDirectory("DefaultCalSetSaveDirectory", dir.path());
    QDir(dir.path()).mkdir("sub");
    const QString chosen = dir.filePath("sub/new.vnacal");
    QString startDir, startName;
    QTimer::singleShot(0,
                       [&]
                       {
                           auto* dlg =
                               qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
                           QVERIFY(dlg);
                           startDir = dlg->directory().absolutePath();
                           startName = dlg->selectedFiles().value(0);
                           dlg->selectFile(chosen);
                           static_cast<QDialog*>(dlg)->accept();
                       });
    const QString got = GetFileNameSave(nullptr, "DefaultCalSetSaveDirectory", "Cal (*.vnacal)",
                                        "Save", "a.vnacal");
    QCOMPARE(QFileInfo(got).absoluteFilePath(), QFileInfo(chosen).absoluteFilePath());
    QCOMPARE(QDir(startDir), QDir(dir.path()));
    QCOMPARE(QFileInfo(startName).fileName(), QString("a.vnacal"));
    QCOMPARE(QDir(GetDefaultUserDirectory("DefaultCalSetSaveDirectory")),
             QDir(dir.filePath("sub")));

    // A name typed without an extension takes the chosen filter's first one; an extension given
    // stays.
    QCOMPARE(FilterSuffix("Image Files (*.png *.jpg *.bmp)"), QString("png"));
    QCOMPARE(FilterSuffix("All Files (*)"), QString());
    const QString images = QStringLiteral("Image Files (*.png *.jpg *.bmp);;Text Files (*.txt)");
    struct Typed
    {
        QString filter;  // empty: the first
        QString name;
        QString expected;
    } typed[] = {{QString(), "shot", "shot.png"},
                 {"Text Files (*.txt)", "notes", "notes.txt"},
                 {QString(), "photo.jpg", "photo.jpg"}};
    for (const Typed& t : typed)
    {
        QTimer::singleShot(0,
                           [&]
                           {
                               auto* dlg =
                                   qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
                               QVERIFY(dlg);
                               if (!t.filter.isEmpty())
                               {
                                   // As a user picks it, from the dialog's list of filters.
                                   auto* types = dlg->findChild<QComboBox*>("fileTypeCombo");
                                   QVERIFY(types);
                                   QTest::keyClick(types, Qt::Key_Down);
                                   QCOMPARE(dlg->selectedNameFilter(), t.filter);
                               }
                               dlg->selectFile(dir.filePath(t.name));
                               static_cast<QDialog*>(dlg)->accept();
                           });
        const QString saved = GetFileNameSave(nullptr, "DefaultImageSaveDirectory", images, "Save");
        QCOMPARE(QFileInfo(saved).fileName(), t.expected);
    }

    // A cancelled dialog keeps the remembered folder.
    QTimer::singleShot(0,
                       []
                       {
                           if (auto* dlg = QApplication::activeModalWidget())
                           {
                               static_cast<QDialog*>(dlg)->reject();
                           }
                       });
    QVERIFY(
        GetFileNameOpen(nullptr, "DefaultCalSetSaveDirectory", "Cal (*.vnacal)", "Open").isEmpty());
    QCOMPARE(QDir(GetDefaultUserDirectory("DefaultCalSetSaveDirectory")),
             QDir(dir.filePath("sub")));
}

void TestPlot::settingsStoreRoundTrips()
{
    QTemporaryDir dir;
    {
        ApplicationSettings s(dir.filePath("rt.ini"));
        s.SaveList("list", QList<int>{3});
    }
    ApplicationSettings s(dir.filePath("rt.ini"));
    QList<int> list{9, 9, 9};  // replaced, not appended to
    s.LoadList("list", list);
    QCOMPARE(list, QList<int>{3});
    s.LoadList("absent", list);
    QVERIFY(list.isEmpty());
    bool flag = true;  // a missing key keeps the caller's value
    s.Load("absent", flag);
    QCOMPARE(flag, true);

    // Folders are created on the way.
    QVERIFY(QFileInfo(GetFactoryCalFolder()).isDir());
    QVERIFY(GetFactoryCalFolder().startsWith(GetProgramDataPath()));
    QVERIFY(QFileInfo(GetMyDocumentsPath()).isDir());
}

QTEST_MAIN(TestPlot)
#include "test_plot.moc"
