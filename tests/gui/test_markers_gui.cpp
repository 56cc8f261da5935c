// Markers through the window as an operator reaches them: the Markers panel, the mouse on a plot,
// the plot's context menu, and what the plot draws. The data come from a Touchstone file written
// here and imported, so the sweep is held and every pass of the chain gives the same trace.
#include <QApplication>
#include <QCheckBox>
#include <QContextMenuEvent>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QMutexLocker>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <cmath>

#include "color_prefs.h"
#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "marker_reference.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_plot.h"

using testfx::ExtremeIndex;
using testfx::NearestIndex;

namespace
{
constexpr int kPoints = 401;
constexpr double kStart = 1e9, kStop = 2e9;

// |S21| in dB: a high peak at 1.3 GHz, a lower one at 1.7 GHz, on a -40 dB floor.
double S21Db(double f)
{
    auto bump = [f](double f0, double width, double height)
    { return height / (1.0 + std::pow((f - f0) / width, 2.0)); };
    return -40.0 + bump(1.3e9, 20e6, 37.0) + bump(1.7e9, 30e6, 30.0);
}

QByteArray FilterFile()
{
    QByteArray text = "# Hz S DB R 50\n";
    for (int i = 0; i < kPoints; ++i)
    {
        const double f = kStart + (kStop - kStart) * i / (kPoints - 1);
        const double s11 = -1.0 - 20.0 * i / (kPoints - 1);
        const double s21 = S21Db(f);
        text += QByteArray::number(f, 'f', 0) + ' ' + QByteArray::number(s11, 'g', 17) + " 0 " +
                QByteArray::number(s21, 'g', 17) + " 0 " + QByteArray::number(s21, 'g', 17) +
                " 0 " + QByteArray::number(s11, 'g', 17) + " 0\n";
    }
    return text;
}

// The field a form row shows under a label: QFormLayout makes the field the label's buddy.
template <typename W>
W* Field(QWidget* panel, const QString& label)
{
    for (QLabel* l : panel->findChildren<QLabel*>())
    {
        if (l->text() == label && l->buddy())
        {
            return qobject_cast<W*>(l->buddy());
        }
    }
    return nullptr;
}

QPushButton* Button(QWidget* panel, const QString& text)
{
    for (QPushButton* b : panel->findChildren<QPushButton*>())
    {
        if (b->text() == text)
        {
            return b;
        }
    }
    return nullptr;
}

void Choose(KXComboBox* box, const QVariant& data)
{
    const int i = box->findData(data);
    box->setCurrentIndex(i);
    emit box->activated(i);
}

void Type(QLineEdit* edit, const QString& text)
{
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
    QTest::keyClick(edit, Qt::Key_Return);
}

void Mouse(QWidget& w, QEvent::Type type, QPoint pos, Qt::MouseButton button,
           Qt::MouseButtons buttons)
{
    QMouseEvent e(type, QPointF(pos), w.mapToGlobal(pos), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(&w, &e);
}

QImage Render(VNAPlot& plot)
{
    QImage img(plot.size(), QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::black);
    plot.render(&img);
    return img;
}

// Pixels within a rectangle that carry the colour.
int CountColour(const QImage& img, const QRect& area, const QColor& c)
{
    int n = 0;
    const QRect r = area.intersected(img.rect());
    for (int y = r.top(); y <= r.bottom(); ++y)
    {
        for (int x = r.left(); x <= r.right(); ++x)
        {
            const QRgb p = img.pixel(x, y);
            n += std::abs(qRed(p) - c.red()) + std::abs(qGreen(p) - c.green()) +
                             std::abs(qBlue(p) - c.blue()) <
                         60
                     ? 1
                     : 0;
        }
    }
    return n;
}

// Opens the plot's context menu at pos and picks the entry with that text, as a click would.
void PickFromContextMenu(VNAPlot& plot, QPoint pos, const QString& text)
{
    bool picked = false;
    QTimer::singleShot(0, &plot,
                       [&]
                       {
                           auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
                           if (!menu)
                           {
                               return;
                           }
                           for (QAction* a : menu->actions())
                           {
                               if (a->text() == text)
                               {
                                   a->trigger();
                                   picked = true;
                               }
                           }
                           menu->close();
                       });
    QContextMenuEvent e(QContextMenuEvent::Mouse, pos, plot.mapToGlobal(pos));
    QApplication::sendEvent(&plot, &e);
    QVERIFY2(picked, qPrintable(text));
}
}  // namespace

class TestMarkersGui : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void panelDrivesTheActiveMarker();
    void panelBandwidthCouplingAndSwitchingOff();
    void clickPlacesOnTheNearestPointAndDragMoves();
    void contextMenuEntries();
    void markersLabelsAndReadoutTableAreDrawn();

private:
    VNAMarker Marker(int index);
    VNAMarker ActiveMarker() { return Marker(window->Model().ActiveMarker(s21)); }
    QVector<double> TraceX();
    QVector<double> TraceY();
    // Widget position of a trace point on the plot.
    QPointF PointOnPlot(int index);

    VnaLib none;
    QTemporaryDir dir;
    MainWindow* window = nullptr;
    QWidget* panel = nullptr;
    VNAPlot* plot = nullptr;
    int channel = -1;
    int s11 = -1, s21 = -1;
};

void TestMarkersGui::initTestCase()
{
    testfx::IsolateUserFiles();
    Hidden::Set(true);  // no device and no questions: the data come from the imported file
    Preferences::Get().scpiPort = 0;
    QVERIFY(dir.isValid());
}

void TestMarkersGui::init()
{
    window = new MainWindow(nullptr, &none);
    window->resize(1400, 900);
    window->show();
    const QString file = testfx::WriteFile(dir, QStringLiteral("filter.s2p"), FilterFile());
    QVERIFY(window->ImportSNPFile(file));
    VNAModel& m = window->Model();
    for (int i = 0; i < m.traces.size(); ++i)
    {
        const VNATrace* t = m.traces[i];
        if (t && t->channel != 0)
        {
            channel = t->channel;
            s11 = t->meas == S11 ? i : s11;
            s21 = t->meas == S21 ? i : s21;
        }
    }
    QVERIFY(s11 >= 0 && s21 >= 0);
    window->traceSelected(s21);
    plot = window->Plot(m.traces[s21]->plot);
    QVERIFY(plot);
    panel = window->Panel(6);
    QVERIFY(qobject_cast<MarkerControlPanel*>(panel));
    window->panelButtonClicked(6);
    QCoreApplication::processEvents();
    QCOMPARE(TraceX().size(), kPoints);
}

void TestMarkersGui::cleanup()
{
    window->close();
    delete window;
    window = nullptr;
    s11 = s21 = channel = -1;
}

VNAMarker TestMarkersGui::Marker(int index)
{
    VNAMarker m;
    window->Model().GetMarkerCopy(s21, index, m);
    return m;
}

QVector<double> TestMarkersGui::TraceX()
{
    QMutexLocker lock(&window->Model().traceLock);
    return window->Model().traces[s21]->x;
}

QVector<double> TestMarkersGui::TraceY()
{
    QMutexLocker lock(&window->Model().traceLock);
    return window->Model().traces[s21]->y;
}

QPointF TestMarkersGui::PointOnPlot(int index)
{
    QMutexLocker lock(&window->Model().traceLock);
    const VNATrace& t = *window->Model().traces[s21];
    const double top = *t.ref() + *t.refPos() * *t.div();
    const double bottom = *t.ref() - (10.0 - *t.refPos()) * *t.div();
    const QRectF r = plot->PlotRect();
    return QPointF(r.left() + (t.x[index] - kStart) / (kStop - kStart) * r.width(),
                   r.top() + (top - t.y[index]) / (top - bottom) * r.height());
}

void TestMarkersGui::panelDrivesTheActiveMarker()
{
    const QVector<double> x = TraceX(), y = TraceY();
    auto* marker = Field<KXComboBox>(panel, "Marker");
    auto* enabled = Field<QCheckBox>(panel, "Enabled");
    auto* fixed = Field<QCheckBox>(panel, "Fixed");
    auto* delta = Field<QCheckBox>(panel, "Delta");
    auto* frequency = Field<KXLineEdit>(panel, "Frequency");
    auto* readout = Field<QLabel>(panel, "Readout");
    QVERIFY(marker && enabled && fixed && delta && frequency && readout);

    // The third marker becomes the active one and is switched on where it is typed.
    Choose(marker, 2);
    QCOMPARE(window->Model().ActiveMarker(s21), 2);
    enabled->click();
    Type(frequency, "1.5 GHz");
    QCoreApplication::processEvents();
    VNAMarker m = ActiveMarker();
    QVERIFY(m.enabled);
    QCOMPARE(m.index, NearestIndex(x, 1.5e9));
    QCOMPARE(m.y, y[m.index]);
    QVERIFY(readout->text().startsWith(QStringLiteral("M3: ")));
    QVERIFY(readout->text().contains(Frequency(x[m.index]).GetFreqString()));

    // Searches: the highest point, the lowest, then the peak steps between the two bumps.
    const int high = ExtremeIndex(y, true);
    Button(panel, "Peak Search")->click();
    QCOMPARE(ActiveMarker().index, high);
    Button(panel, "Min Peak")->click();
    QCOMPARE(ActiveMarker().index, ExtremeIndex(y, false));
    Button(panel, "Peak Search")->click();
    const int low = high + ExtremeIndex(y.mid(high + 50), true) + 50;  // the second bump
    Button(panel, "Peak Right")->click();
    QCOMPARE(ActiveMarker().index, low);
    Button(panel, "Peak Left")->click();
    QCOMPARE(ActiveMarker().index, high);
    Button(panel, "Next Peak")->click();
    QCOMPARE(ActiveMarker().index, low);  // the highest peak below the marker's level

    // A threshold above the lower bump hides it from the steps.
    const double above = std::ceil(y[low] + 0.5);
    QVERIFY(above < y[high]);
    Type(Field<KXLineEdit>(panel, "Threshold"), QString::number(above));
    QCOMPARE(ActiveMarker().threshold, above);
    Button(panel, "Peak Left")->click();
    QCOMPARE(ActiveMarker().index, high);
    Button(panel, "Peak Right")->click();
    QCOMPARE(ActiveMarker().index, high);

    // Fixed: a typed frequency no longer moves it; the flag shows on the panel.
    fixed->click();
    Type(frequency, "1.1 GHz");
    QCOMPARE(ActiveMarker().index, high);
    QCoreApplication::processEvents();
    QVERIFY(fixed->isChecked());
    fixed->click();

    // Reference and delta: the reference takes the marker's point, the readout reads against it.
    Button(panel, "Marker \u2192 Ref")->click();
    const VNAMarker ref = Marker(VNATrace::kReferenceMarker);
    QVERIFY(ref.enabled);
    QCOMPARE(ref.index, high);
    Type(frequency, "1.7 GHz");
    delta->click();
    QCoreApplication::processEvents();
    QVERIFY(ActiveMarker().delta);
    QVERIFY(readout->text().startsWith(QChar(0x0394) + QStringLiteral("3: ")));
    QVERIFY(
        readout->text().contains(Frequency(x[NearestIndex(x, 1.7e9)] - x[high]).GetFreqString()));
    // On the reference marker delta cannot be set.
    Choose(marker, VNATrace::kReferenceMarker);
    QCoreApplication::processEvents();
    QVERIFY(!delta->isEnabled());
    Choose(marker, 2);

    // Tracking goes to the peak at once; Marker -> Start hands its frequency to the stimulus.
    Choose(Field<KXComboBox>(panel, "Tracking"), int(MarkerTrackingPeak));
    QCOMPARE(ActiveMarker().tracking, MarkerTrackingPeak);
    QCOMPARE(ActiveMarker().index, high);
    Button(panel, "Marker \u2192 Start")->click();
    QCOMPARE(window->Model().channels[channel]->stimulus.start, x[high]);

    // Changes made elsewhere show on the panel.
    window->markerFixed(s21, 2, true);
    QCoreApplication::processEvents();
    QVERIFY(fixed->isChecked());
}

void TestMarkersGui::panelBandwidthCouplingAndSwitchingOff()
{
    const QVector<double> y = TraceY();
    auto* bw = Field<QCheckBox>(panel, "Bandwidth Search");
    QVERIFY(bw);
    bw->click();
    Type(Field<KXLineEdit>(panel, "BW Threshold"), "-6");
    {
        QMutexLocker lock(&window->Model().traceLock);
        const VNATrace& t = *window->Model().traces[s21];
        QVERIFY(t.bwSearchEnabled);
        QCOMPARE(t.bwSearchLimit, -6.0);
    }
    Button(panel, "Search")->click();
    {
        QMutexLocker lock(&window->Model().traceLock);
        const VNATrace& t = *window->Model().traces[s21];
        QVERIFY(t.bwFound);
        // Both edges lie 6 dB below the highest point, on either side of it.
        const int peak = ExtremeIndex(y, true);
        QCOMPARE(t.bwPeakValue, y[peak]);
        QVERIFY(std::fabs(t.bwLowValue - (y[peak] - 6.0)) < 1e-9);
        QVERIFY(std::fabs(t.bwHighValue - (y[peak] - 6.0)) < 1e-9);
        QVERIFY(t.bwLowFreq < t.x[peak] && t.x[peak] < t.bwHighFreq);
    }
    Field<QCheckBox>(panel, "BW Tracking")->click();
    QVERIFY(window->Model().traces[s21]->bwSearchTracking);

    // Coupling: with "Channel" a peak search on S21 takes S11's marker of the same number
    // along; with "Off" it does not.
    auto* coupling = Field<KXComboBox>(panel, "Coupling");
    Choose(coupling, int(MarkerCouplingChannel));
    Button(panel, "Peak Search")->click();
    VNAMarker other;
    window->Model().GetMarkerCopy(s11, 0, other);
    QVERIFY(other.enabled);
    QCOMPARE(other.f, ActiveMarker().f);
    Choose(coupling, int(MarkerCouplingOff));
    QCOMPARE(window->Model().GetMarkerCoupling(), MarkerCouplingOff);
    Button(panel, "Min Peak")->click();
    window->Model().GetMarkerCopy(s11, 0, other);
    QVERIFY(other.f != ActiveMarker().f);

    Button(panel, "Disable All on Trace")->click();
    QVERIFY(!ActiveMarker().enabled);
    window->Model().GetMarkerCopy(s11, 0, other);
    QVERIFY(other.enabled);
    Button(panel, "Disable All on Channel")->click();  // the selected trace's channel
    window->Model().GetMarkerCopy(s11, 0, other);
    QVERIFY(!other.enabled);

    // A preset couples markers by channel again, and the panel shows it.
    window->Preset(false);
    QCOMPARE(window->Model().GetMarkerCoupling(), MarkerCouplingChannel);
    QCoreApplication::processEvents();
    QCOMPARE(coupling->GetCurrentData().toInt(), int(MarkerCouplingChannel));
}

void TestMarkersGui::clickPlacesOnTheNearestPointAndDragMoves()
{
    Render(*plot);
    const QRectF r = plot->PlotRect();
    QVERIFY(r.width() > 200);
    const QVector<double> x = TraceX();
    // The point nearest the frequency under a pixel column.
    auto nearestAt = [&](int px)
    {
        const double fraction = (px - r.left()) / r.width();
        return NearestIndex(x, kStart + fraction * (kStop - kStart));
    };
    const int row = int(r.center().y());
    const int x1 = int(r.left() + r.width() * 0.23), x2 = int(r.left() + r.width() * 0.61);
    const int x3 = int(r.left() + r.width() * 0.8);

    Mouse(*plot, QEvent::MouseButtonPress, QPoint(x1, row), Qt::LeftButton, Qt::LeftButton);
    VNAMarker m = ActiveMarker();
    QVERIFY(m.enabled);
    QCOMPARE(m.index, nearestAt(x1));
    QCOMPARE(m.x, x[m.index]);
    // Dragging takes the marker along; after the release the mouse moves it no more.
    Mouse(*plot, QEvent::MouseMove, QPoint(x2, row + 15), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(ActiveMarker().index, nearestAt(x2));
    Mouse(*plot, QEvent::MouseButtonRelease, QPoint(x2, row + 15), Qt::LeftButton, Qt::NoButton);
    Mouse(*plot, QEvent::MouseMove, QPoint(x3, row), Qt::NoButton, Qt::NoButton);
    QCOMPARE(ActiveMarker().index, nearestAt(x2));

    // Wheel and arrow keys step one point.
    QWheelEvent down(QPointF(x3, row), QPointF(plot->mapToGlobal(QPoint(x3, row))), QPoint(),
                     QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(plot, &down);
    QCOMPARE(ActiveMarker().index, nearestAt(x2) - 1);
    QTest::keyClick(plot, Qt::Key_Right);
    QTest::keyClick(plot, Qt::Key_Right);
    QCOMPARE(ActiveMarker().index, nearestAt(x2) + 1);

    // A fixed marker stays where it is; the right button alone places nothing.
    window->markerFixed(true);
    Mouse(*plot, QEvent::MouseButtonPress, QPoint(x3, row), Qt::LeftButton, Qt::LeftButton);
    Mouse(*plot, QEvent::MouseButtonRelease, QPoint(x3, row), Qt::LeftButton, Qt::NoButton);
    QCOMPARE(ActiveMarker().index, nearestAt(x2) + 1);
    window->markerFixed(false);
    Mouse(*plot, QEvent::MouseButtonPress, QPoint(x3, row), Qt::RightButton, Qt::RightButton);
    QCOMPARE(ActiveMarker().index, nearestAt(x2) + 1);
}

void TestMarkersGui::contextMenuEntries()
{
    const QVector<double> y = TraceY();
    Render(*plot);
    QPoint label;
    for (const VNAPlot::TraceLabelPos& l : plot->LabelPositions())
    {
        if (l.trace == s21)
        {
            label = l.rect.center();
        }
    }
    QVERIFY(!label.isNull());

    // "Add Marker" takes the next free marker and puts it in the middle.
    window->markerEnable(s21, 0, true);
    PickFromContextMenu(*plot, label, "Add Marker");
    QCOMPARE(window->Model().ActiveMarker(s21), 1);
    QVERIFY(ActiveMarker().enabled);
    QCOMPARE(ActiveMarker().index, (kPoints - 1) / 2);
    PickFromContextMenu(*plot, label, "Marker Peak");
    QCOMPARE(ActiveMarker().index, ExtremeIndex(y, true));
    PickFromContextMenu(*plot, label, "Marker Min");
    QCOMPARE(ActiveMarker().index, ExtremeIndex(y, false));
    PickFromContextMenu(*plot, label, "Disable Markers on Trace");
    QVERIFY(!Marker(0).enabled && !ActiveMarker().enabled);

    // The plot's own menu switches off the markers of the active channel.
    window->markerEnable(s21, 4, true);
    window->markerEnable(s11, 4, true);
    const QPoint inside = plot->PlotRect().center().toPoint();
    PickFromContextMenu(*plot, inside, "Disable Markers On Channel");
    VNAMarker other;
    window->Model().GetMarkerCopy(s11, 4, other);
    QVERIFY(!Marker(4).enabled && !other.enabled);
}

void TestMarkersGui::markersLabelsAndReadoutTableAreDrawn()
{
    const QColor colour = ColorPrefs::Get().GetTraceColor(s21);
    const QImage plain = Render(*plot);
    const QRectF r = plot->PlotRect();
    const int fh = QFontMetrics(plot->font()).height();
    // Read-out rows stack down from the graticule's top right corner, one per marker.
    auto tableRow = [&](int k)
    { return QRect(int(r.right()) - 200, int(r.top()) + k * fh + 2, 198, fh - 2); };
    const int points[] = {60, 200, 330};
    // Only this trace's markers: the table lists the markers of every trace of the plot.
    window->markerSetCoupling(MarkerCouplingOff);
    for (int k = 0; k < 3; ++k)
    {
        window->markerSelected(k);
        window->markerPlace(s21, double(points[k]) / (kPoints - 1));
    }
    const QImage img = Render(*plot);
    for (int k = 0; k < 3; ++k)
    {
        QVERIFY2(
            CountColour(img, tableRow(k), colour) > CountColour(plain, tableRow(k), colour) + 20,
            qPrintable(QString::number(k)));
        // The symbol stands on the point, tip down, its number above it.
        const QPointF tip = PointOnPlot(points[k]);
        const QRect symbol(int(tip.x()) - fh / 2, int(tip.y()) - 2 * fh, fh, 2 * fh);
        QVERIFY2(CountColour(img, symbol, colour) > CountColour(plain, symbol, colour) + 5,
                 qPrintable(QString::number(k)));
    }
    QCOMPARE(CountColour(img, tableRow(3), colour), CountColour(plain, tableRow(3), colour));

    // The bandwidth block prints below the top edge at the centre, and its three points are
    // marked.
    window->markerBWEnable(s21, true);
    const QImage bw = Render(*plot);
    const QRect block(int(r.center().x()) - 150, int(r.top()) + 2, 148, fh * 6);
    QVERIFY(CountColour(bw, block, colour) > CountColour(img, block, colour) + 100);
}

QTEST_MAIN(TestMarkersGui)
#include "test_markers_gui.moc"
