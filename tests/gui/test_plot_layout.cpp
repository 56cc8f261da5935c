// The plot area's tree of splitters: moves, drag and drop, the saved layout, closing plots, and
// where the window is put back at start-up.
#include <QDragEnterEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QMutexLocker>
#include <QPointer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QScreen>
#include <QSplitter>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>
#include <map>

#include "application_settings.h"
#include "line_client.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "multi_plot_splitter_area.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_plot.h"
#include "window_placement.h"

using Area = KXMultiPlotSplitterArea;

namespace
{
// The arrangement as seen in the widgets alone: "H"/"V" with the children in order, a leaf as
// the number of the test plot found inside it, and every splitter's sizes in pixels.
struct Shape
{
    QString tree;
    QVector<QList<int>> sizes;
};

void Walk(QWidget* w, const std::map<QWidget*, int>& plots, Shape& out)
{
    if (auto* s = qobject_cast<QSplitter*>(w))
    {
        out.tree += s->orientation() == Qt::Horizontal ? "H(" : "V(";
        out.sizes.append(s->sizes());
        for (int i = 0; i < s->count(); ++i)
        {
            out.tree += i ? "," : "";
            Walk(s->widget(i), plots, out);
        }
        out.tree += ")";
        return;
    }
    for (const auto& [plot, number] : plots)
    {
        if (w->isAncestorOf(plot))
        {
            out.tree += QString::number(number);
            return;
        }
    }
    out.tree += "?";
}

// Every splitter below the root holds two or more children; none is empty.
bool WellFormed(QSplitter* s, bool isRoot)
{
    if (!isRoot && s->count() < 2)
    {
        return false;
    }
    for (int i = 0; i < s->count(); ++i)
    {
        auto* child = qobject_cast<QSplitter*>(s->widget(i));
        if (child && !WellFormed(child, false))
        {
            return false;
        }
    }
    return true;
}

// A holder with plain widgets as plots, shown at a fixed size.
struct Holder
{
    ChannelWidget widget;
    std::map<QWidget*, int> plots;

    explicit Holder(int count)
    {
        widget.resize(1200, 800);
        widget.show();
        AddPlots(count);
    }

    void AddPlots(int count)
    {
        plots.clear();
        for (int i = 0; i < count; ++i)
        {
            auto* p = new QWidget;
            p->setMinimumSize(40, 30);
            plots[p] = i;
            widget.AddPlot(p, i);
        }
        Settle();
    }

    void Settle()
    {
        QApplication::sendPostedEvents();
        QApplication::processEvents();
    }

    Shape Snapshot() const
    {
        Shape s;
        Walk(widget.Area()->Root(), plots, s);
        return s;
    }

    // A frame's rectangle in the holder's coordinates.
    QRect FrameRect(int number) const
    {
        KXPlotFrame* f = widget.Area()->Frame(number);
        return f ? QRect(f->mapTo(&widget, QPoint(0, 0)), f->size()) : QRect();
    }

    // Each plot a leaf exactly once, and shown.
    bool EachPlotOnceAndVisible() const
    {
        const QString tree = Snapshot().tree;
        QMap<int, int> seen;
        QRegularExpressionMatchIterator it = QRegularExpression("\\d+").globalMatch(tree);
        while (it.hasNext())
        {
            ++seen[it.next().captured().toInt()];
        }
        if (seen.size() != int(plots.size()))
        {
            return false;
        }
        for (const auto& [plot, number] : plots)
        {
            if (seen.value(number) != 1 || !plot->isVisibleTo(&widget))
            {
                return false;
            }
        }
        return tree.count('?') == 0 && WellFormed(widget.Area()->Root(), true);
    }
};

bool LeftOf(const QRect& a, const QRect& b)
{
    return a.right() < b.left() && a.top() < b.bottom() && b.top() < a.bottom();
}

bool Above(const QRect& a, const QRect& b)
{
    return a.bottom() < b.top() && a.left() < b.right() && b.left() < a.right();
}

// Drags plot `number` over `pos` of the holder and drops it there, as the window system would
// deliver it; returns whether the drop indicator showed during the move, and its rectangle.
bool DragAndDrop(Holder& h, int number, const QPoint& pos, QRect& indicatorRect)
{
    Area* area = h.widget.Area();
    const QPoint at = area->mapFrom(&h.widget, pos);
    QMimeData mime;
    mime.setData(Area::kMimeType, QByteArray::number(number));
    QDragEnterEvent enter(at, Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(area, &enter);
    QDragMoveEvent move(at, Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(area, &move);
    bool shown = false;
    for (Overlay* o : area->findChildren<Overlay*>())
    {
        if (o->isVisible() && o->dropValid)
        {
            shown = true;
            indicatorRect = QRect(o->mapTo(&h.widget, o->dropRect.topLeft()), o->dropRect.size());
        }
    }
    QDropEvent drop(at, Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(area, &drop);
    h.Settle();
    return shown;
}
}  // namespace

class TestPlotLayout : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void movesBuildTheTree();
    void layoutRoundTripsThroughSettings();
    void damagedOrForeignLayoutKeepsEveryPlot();
    void dragAndDropMovesLikeMovePlot();
    void closingAPlotWithTracesAsks();
    void remoteCloseDoesNotAsk();
    void placementFollowsTheScreens();
    void windowStateRoundTrip();

private:
    MainWindow* NewWindow();
    VnaLib none;
};

void TestPlotLayout::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(false);
}

MainWindow* TestPlotLayout::NewWindow()
{
    testfx::ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
    return new MainWindow(nullptr, &none);
}

void TestPlotLayout::movesBuildTheTree()
{
    Holder h(4);
    // New plots split the largest plot: four end up as two columns of two.
    QCOMPARE(h.Snapshot().tree, QString("H(V(0,2),V(1,3))"));
    QVERIFY(Above(h.FrameRect(0), h.FrameRect(2)));
    QVERIFY(LeftOf(h.FrameRect(0), h.FrameRect(1)));

    QVERIFY(h.widget.MovePlot(3, 0, Area::EdgeTop));
    h.Settle();
    QVERIFY(Above(h.FrameRect(3), h.FrameRect(0)));
    QVERIFY(Above(h.FrameRect(0), h.FrameRect(2)));
    // Plot 1 was left alone in its column; the column gave way to it.
    QCOMPARE(h.Snapshot().tree, QString("H(V(3,0,2),1)"));

    QVERIFY(h.widget.MovePlot(2, 1, Area::EdgeLeft));
    QVERIFY(h.widget.MovePlot(0, 3, Area::EdgeRight));
    h.Settle();
    QVERIFY(LeftOf(h.FrameRect(3), h.FrameRect(0)));
    QVERIFY(LeftOf(h.FrameRect(2), h.FrameRect(1)));
    QVERIFY(Above(h.FrameRect(3), h.FrameRect(2)) || LeftOf(h.FrameRect(3), h.FrameRect(2)));
    QVERIFY(h.EachPlotOnceAndVisible());

    // Refused moves change nothing.
    const QString before = h.Snapshot().tree;
    QVERIFY(!h.widget.MovePlot(1, 1, Area::EdgeLeft));
    QVERIFY(!h.widget.MovePlot(7, 1, Area::EdgeLeft));
    QVERIFY(!h.widget.MovePlot(1, 7, Area::EdgeLeft));
    QCOMPARE(h.Snapshot().tree, before);

    // Removing plots collapses what is left; the last one fills the area.
    h.widget.RemovePlot(2);
    h.widget.RemovePlot(0);
    h.Settle();
    QVERIFY(WellFormed(h.widget.Area()->Root(), true));
    QCOMPARE(h.widget.Area()->Root()->count(), 2);
    h.widget.RemovePlot(3);
    h.Settle();
    QCOMPARE(h.widget.Area()->Root()->count(), 1);
    QVERIFY(h.FrameRect(1).width() > 1100 && h.FrameRect(1).height() > 700);
}

void TestPlotLayout::layoutRoundTripsThroughSettings()
{
    Holder h(4);
    QVERIFY(h.widget.MovePlot(1, 0, Area::EdgeBottom));
    QVERIFY(h.widget.MovePlot(3, 1, Area::EdgeRight));
    h.Settle();
    // Move the root's handle by hand, as an operator would.
    QSplitter* root = h.widget.Area()->Root();
    QSplitterHandle* handle = root->handle(1);
    QVERIFY(handle);
    const QPoint start = handle->rect().center();
    const bool horizontal = root->orientation() == Qt::Horizontal;
    const QPoint step = horizontal ? QPoint(-150, 0) : QPoint(0, -120);
    const QList<int> sizesBefore = root->sizes();
    QMouseEvent press(QEvent::MouseButtonPress, start, handle->mapToGlobal(start), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(handle, &press);
    QMouseEvent move(QEvent::MouseMove, start + step, handle->mapToGlobal(start + step),
                     Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(handle, &move);
    QMouseEvent release(QEvent::MouseButtonRelease, start + step, handle->mapToGlobal(start + step),
                        Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(handle, &release);
    h.Settle();
    QVERIFY(std::abs(root->sizes().value(0) - (sizesBefore.value(0) - (horizontal ? 150 : 120))) <=
            2);
    const Shape original = h.Snapshot();

    QTemporaryDir dir;
    const QString path = dir.filePath("layout.ini");
    {
        ApplicationSettings s(path);
        h.widget.SaveLayout(s);
    }
    h.widget.Clear();
    h.Settle();
    QCOMPARE(root->count(), 0);
    h.AddPlots(4);
    {
        ApplicationSettings s(path);
        h.widget.LoadLayout(s);
    }
    h.Settle();
    const Shape loaded = h.Snapshot();
    QCOMPARE(loaded.tree, original.tree);
    QCOMPARE(loaded.sizes.size(), original.sizes.size());
    for (int i = 0; i < original.sizes.size(); ++i)
    {
        QCOMPARE(loaded.sizes[i].size(), original.sizes[i].size());
        for (int j = 0; j < original.sizes[i].size(); ++j)
        {
            QVERIFY2(std::abs(loaded.sizes[i][j] - original.sizes[i][j]) <= 3,
                     qPrintable(QString("splitter %1 child %2: %3 vs %4")
                                    .arg(i)
                                    .arg(j)
                                    .arg(loaded.sizes[i][j])
                                    .arg(original.sizes[i][j])));
        }
    }
}

void TestPlotLayout::damagedOrForeignLayoutKeepsEveryPlot()
{
    QStringList texts = {"",
                         "garbage",
                         "H(0,1",
                         "H(0,0,1)[1,2,3]",
                         "V(7,8)",
                         "H(0,V(1,9))[10,20]",
                         "H(0,1)[-5,3]",
                         "99999999999999",
                         "H()",
                         "V(1)[5]",
                         "H(2,1,0,3,3,3)[1,2]",
                         "V(H(3,2)[1,1,1],H(1,0)[0,0])[0]",
                         QString("H(").repeated(5000) + "0",
                         QString("V(0,").repeated(60) + "1" + QString(")").repeated(60)};
    // Random junk over the description's own alphabet.
    QRandomGenerator random(2024);
    const QString alphabet = "HV(),[]0123 9-";
    for (int n = 0; n < 300; ++n)
    {
        QString t;
        const int length = random.bounded(1, 40);
        for (int i = 0; i < length; ++i)
        {
            t += alphabet[random.bounded(alphabet.size())];
        }
        texts.append(t);
    }
    QTemporaryDir dir;
    Holder h(4);
    QVERIFY(h.widget.MovePlot(3, 0, Area::EdgeLeft));
    for (const QString& text : texts)
    {
        {
            ApplicationSettings s(dir.filePath("damaged.ini"));
            s.Save("PlotLayout/Tree", text);
            h.widget.LoadLayout(s);
        }
        h.Settle();
        QVERIFY2(h.EachPlotOnceAndVisible(), qPrintable(text + " gave " + h.Snapshot().tree));
    }

    // What fits is applied: plot 0 left of plot 1, the unknown plot 9 dropped.
    {
        ApplicationSettings s(dir.filePath("partial.ini"));
        s.Save("PlotLayout/Tree", QString("H(0,V(1,9))[10,20]"));
        h.widget.LoadLayout(s);
    }
    h.Settle();
    QVERIFY(h.EachPlotOnceAndVisible());
    QVERIFY(LeftOf(h.FrameRect(0), h.FrameRect(1)));

    // A layout saved with six plots, loaded where three are present.
    Holder six(6);
    QVERIFY(six.widget.MovePlot(5, 0, Area::EdgeTop));
    QVERIFY(six.widget.MovePlot(2, 4, Area::EdgeLeft));
    {
        ApplicationSettings s(dir.filePath("six.ini"));
        six.widget.SaveLayout(s);
    }
    Holder three(3);
    {
        ApplicationSettings s(dir.filePath("six.ini"));
        three.widget.LoadLayout(s);
    }
    three.Settle();
    QVERIFY(three.EachPlotOnceAndVisible());
}

void TestPlotLayout::dragAndDropMovesLikeMovePlot()
{
    // Each drop lands near one edge of plot 0; the same move is made through MovePlot on a twin.
    const struct
    {
        Area::Edge edge;
        double fx, fy;  // where in the target, as fractions of its size
    } drops[] = {{Area::EdgeTop, 0.5, 0.1},
                 {Area::EdgeBottom, 0.4, 0.95},
                 {Area::EdgeLeft, 0.05, 0.5},
                 {Area::EdgeRight, 0.9, 0.6}};
    for (const auto& d : drops)
    {
        Holder dragged(4);
        Holder moved(4);
        const QRect target = dragged.FrameRect(0);
        const QPoint pos(target.left() + int(d.fx * target.width()),
                         target.top() + int(d.fy * target.height()));
        QRect indicator;
        QVERIFY(DragAndDrop(dragged, 3, pos, indicator));
        // The indicator covers the half of the target on the side of the drop.
        QVERIFY(target.contains(indicator));
        QVERIFY(indicator.contains(pos));
        QVERIFY(std::abs(indicator.width() * indicator.height() -
                         target.width() * target.height() / 2) <= target.width() + target.height());
        QVERIFY(moved.widget.MovePlot(3, 0, d.edge));
        moved.Settle();
        QCOMPARE(dragged.Snapshot().tree, moved.Snapshot().tree);
        QVERIFY(dragged.EachPlotOnceAndVisible());
        for (Overlay* o : dragged.widget.Area()->findChildren<Overlay*>())
        {
            QVERIFY(!o->isVisible());
        }
    }

    // Dropped on itself or with a foreign payload, nothing moves.
    Holder h(3);
    const QString before = h.Snapshot().tree;
    QRect unused;
    QVERIFY(!DragAndDrop(h, 1, h.FrameRect(1).center(), unused));
    QCOMPARE(h.Snapshot().tree, before);
    QMimeData text;
    text.setText("2");
    const QPoint at = h.widget.Area()->mapFrom(&h.widget, h.FrameRect(0).topLeft() + QPoint(5, 50));
    QDragEnterEvent enter(at, Qt::MoveAction, &text, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(h.widget.Area(), &enter);
    QVERIFY(!enter.isAccepted());
    QDropEvent drop(at, Qt::MoveAction, &text, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(h.widget.Area(), &drop);
    QCOMPARE(h.Snapshot().tree, before);

    // The edge regions of a wide target: nearest edge, relative to the side across it.
    const QSize wide(300, 100);
    QCOMPARE(Area::EdgeAt(wide, QPoint(20, 50)), Area::EdgeLeft);
    QCOMPARE(Area::EdgeAt(wide, QPoint(280, 50)), Area::EdgeRight);
    QCOMPARE(Area::EdgeAt(wide, QPoint(150, 10)), Area::EdgeTop);
    QCOMPARE(Area::EdgeAt(wide, QPoint(150, 90)), Area::EdgeBottom);
}

void TestPlotLayout::closingAPlotWithTracesAsks()
{
    MainWindow* w = NewWindow();
    w->show();
    VNAModel& m = w->Model();
    auto tracesOn = [&m](int plot)
    {
        QMutexLocker lock(&m.traceLock);
        int n = 0;
        for (const VNATrace* t : m.traces)
        {
            n += t && t->plot == plot ? 1 : 0;
        }
        return n;
    };
    auto clickClose = [w](int plot)
    {
        KXPlotFrame* f = w->PlotArea()->Area()->Frame(plot);
        QToolButton* b = f ? f->TitleBar()->findChild<QToolButton*>() : nullptr;
        QVERIFY(b);
        b->click();
    };
    QVERIFY(w->Plot(0));
    const int before = tracesOn(0);
    w->CreateTrace(0, 0, S21, LogMag);
    const int onPlot0 = tracesOn(0);
    QCOMPARE(onPlot0, before + 1);

    // An empty plot closes without a question.
    const int empty = w->addPlot();
    QVERIFY(empty > 0);
    {
        testfx::ModalAnswerer no(QMessageBox::No);
        clickClose(empty);
        QVERIFY(no.titles.isEmpty());
    }
    QVERIFY(!w->Plot(empty));
    QVERIFY(!w->PlotArea()->Area()->HasPlot(empty));

    {
        testfx::ModalAnswerer no(QMessageBox::No);
        clickClose(0);
        QCOMPARE(no.titles, QStringList{"Close Plot"});
        QVERIFY(no.texts.value(0).contains(QString::number(onPlot0)));
    }
    QVERIFY(w->Plot(0));
    QVERIFY(w->PlotArea()->Area()->HasPlot(0));
    QCOMPARE(tracesOn(0), onPlot0);

    {
        testfx::ModalAnswerer yes(QMessageBox::Yes);
        clickClose(0);
        QCOMPARE(yes.titles, QStringList{"Close Plot"});
    }
    QVERIFY(!w->Plot(0));
    QVERIFY(!w->PlotArea()->Area()->HasPlot(0));
    QCOMPARE(tracesOn(0), 0);
    w->close();
    delete w;
}

void TestPlotLayout::remoteCloseDoesNotAsk()
{
    MainWindow* w = NewWindow();
    w->show();
    QCOMPARE(w->addPlot(1), 1);
    w->CreateTrace(0, 1, S21, LogMag);
    const quint16 port = w->SCPIServerPort();
    QVERIFY(port != 0);
    QByteArray state;
    // A question would be answered No and keep the plot: the plot's absence shows none came.
    testfx::ModalAnswerer no(QMessageBox::No);
    testfx::RunClients({[&]
                        {
                            testfx::LineClient c;
                            if (c.Connect(port))
                            {
                                c.Send(":DISP:WIND2:STAT OFF\n");
                                state = c.Query(":DISP:WIND2:STAT?");
                            }
                        }});
    QCOMPARE(state, QByteArray("0"));
    QVERIFY(no.titles.isEmpty());
    QVERIFY(!w->Plot(1));
    QVERIFY(!w->PlotArea()->Area()->HasPlot(1));
    {
        QMutexLocker lock(&w->Model().traceLock);
        for (const VNATrace* t : w->Model().traces)
        {
            QVERIFY(!t || t->plot != 1);
        }
    }
    w->close();
    delete w;
}

void TestPlotLayout::placementFollowsTheScreens()
{
    const QRect left(0, 0, 1920, 1040);
    const QRect right(1920, 0, 2560, 1400);
    const QVector<QRect> two = {left, right};
    const QRect twoEstate(0, 0, 1920 + 2560, 1400);
    QCOMPARE(ScreenRealEstate(two), twoEstate);

    // Unchanged screens: the stored place stands, on either screen.
    const QRect onRight(2500, 200, 1200, 900);
    QCOMPARE(PlaceWindow(onRight, 2, twoEstate, two), onRight);
    const QRect straddling(1500, 100, 1000, 700);
    QCOMPARE(PlaceWindow(straddling, 2, twoEstate, two), straddling);

    auto centredOn = [](const QRect& r, const QRect& screen)
    {
        return screen.contains(r) && std::abs(r.center().x() - screen.center().x()) <= 1 &&
               std::abs(r.center().y() - screen.center().y()) <= 1;
    };
    // The right screen unplugged: back on the primary at the stored size, which fits.
    const QRect placed = PlaceWindow(onRight, 2, twoEstate, {left});
    QVERIFY(centredOn(placed, left));
    QCOMPARE(placed.size(), onRight.size());
    // A larger window than the remaining screen is shrunk to it.
    const QRect big(2000, 0, 2400, 1300);
    const QRect shrunk = PlaceWindow(big, 2, twoEstate, {left});
    QVERIFY(centredOn(shrunk, left));
    QCOMPARE(shrunk.size(), QSize(1920, 1040));
    // Same count, different resolution.
    const QVector<QRect> smaller = {QRect(0, 0, 1280, 1000), QRect(1280, 0, 2560, 1400)};
    QVERIFY(centredOn(PlaceWindow(onRight, 2, twoEstate, smaller), smaller[0]));
    // Same screens, but only a sliver of the window would show.
    const QRect sliver(1920 + 2560 - 60, 300, 800, 600);
    QVERIFY(centredOn(PlaceWindow(sliver, 2, twoEstate, two), left));
    const QRect offTop(100, -650, 800, 700);  // 50 px showing
    QVERIFY(centredOn(PlaceWindow(offTop, 2, twoEstate, two), left));
    // A primary to the right of a secondary.
    const QVector<QRect> swapped = {QRect(1600, 0, 1920, 1080), QRect(0, 0, 1600, 900)};
    QVERIFY(centredOn(PlaceWindow(QRect(-900, 50, 800, 600), 1, left, swapped), swapped[0]));

    // Whatever was stored, the result shows at least 100 x 100 px (all of a smaller window) on a
    // present screen.
    QRandomGenerator random(7);
    for (int i = 0; i < 2000; ++i)
    {
        const QRect stored(random.bounded(-3000, 6000), random.bounded(-2000, 3000),
                           random.bounded(0, 5000), random.bounded(0, 3000));
        const QVector<QRect>& now = i % 2 ? two : smaller;
        const QRect r = PlaceWindow(stored, 1 + i % 3, i % 4 ? twoEstate : left, now);
        bool shows = false;
        for (const QRect& s : now)
        {
            const QRect common = s.intersected(r);
            shows = shows || (common.width() >= std::min(100, r.width()) &&
                              common.height() >= std::min(100, r.height()) && !common.isEmpty());
        }
        QVERIFY2(shows || (stored.isEmpty() && now[0].contains(r)),
                 qPrintable(QString("%1,%2 %3x%4")
                                .arg(stored.x())
                                .arg(stored.y())
                                .arg(stored.width())
                                .arg(stored.height())));
    }
}

void TestPlotLayout::windowStateRoundTrip()
{
    const QVector<QRect> screens = []
    {
        QVector<QRect> s;
        for (QScreen* sc : QGuiApplication::screens())
        {
            s.append(sc->availableGeometry());
        }
        return s;
    }();
    QVERIFY(!screens.isEmpty());
    const QRect primary = QGuiApplication::primaryScreen()->availableGeometry();

    MainWindow* w = NewWindow();
    w->setGeometry(QRect(primary.topLeft() + QPoint(30, 40), w->size()));
    const QRect placed = w->geometry();
    QVERIFY(Preferences::SaveOnClose());
    w->close();  // saves the state on the way out
    delete w;
    {
        ApplicationSettings s(GetPreferencesIniPath());
        QCOMPARE(s.Load("MainWindow/Geometry").toRect(), placed);
        QCOMPARE(s.Load("MainWindow/ScreenCount").toInt(), screens.size());
        QCOMPARE(s.Load("MainWindow/ScreenRealEstate").toRect(), ScreenRealEstate(screens));
        QCOMPARE(s.Load("MainWindow/Maximized").toBool(), false);
        QVERIFY(!s.Load("MainWindow/State").toByteArray().isEmpty());
    }

    w = NewWindow();
    QCOMPARE(w->geometry(), placed);
    QVERIFY(!w->isMaximized());
    w->setWindowState(Qt::WindowMaximized);
    w->SaveState();
    delete w;

    w = NewWindow();
    QVERIFY(w->windowState() & Qt::WindowMaximized);
    QCOMPARE(w->normalGeometry(), placed);
    delete w;

    // The screens have changed since: the window is centred on the primary screen.
    {
        ApplicationSettings s(GetPreferencesIniPath());
        s.Save("MainWindow/ScreenCount", int(screens.size()) + 2);
        s.Save("MainWindow/Maximized", false);
    }
    w = NewWindow();
    const QRect moved = w->geometry();
    QVERIFY(std::abs(moved.center().x() - primary.center().x()) <= 1);
    QVERIFY(std::abs(moved.center().y() - primary.center().y()) <= 1);
    delete w;
}

QTEST_MAIN(TestPlotLayout)
#include "test_plot_layout.moc"
