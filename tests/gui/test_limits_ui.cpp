// The limit and ripple editors, the Limits panel, the fail sound and the drawing of limit lines
// and verdicts, offscreen, through the controls an operator uses.
#include <QCheckBox>
#include <QImage>
#include <QListWidget>
#include <QMutexLocker>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

#include "application_settings.h"
#include "color_prefs.h"
#include "control_panels.h"
#include "limit_line_editor.h"
#include "limit_reference.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "test_fixtures.h"
#include "widget_driver.h"
#include "vna_lib.h"
#include "vna_limits.h"
#include "vna_plot.h"

using testfx::Click;
using testfx::ModalAnswerer;
using testfx::Type;

namespace
{
bool SameRanges(const QVector<VNALimitRange>& a, const QVector<VNALimitRange>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const VNALimitRange& p, const VNALimitRange& q)
                      {
                          return p.type == q.type && p.startFreq == q.startFreq &&
                                 p.stopFreq == q.stopFreq && p.startOffset == q.startOffset &&
                                 p.stopOffset == q.stopOffset;
                      });
}

int CountPixels(const QImage& img, const QRect& area, const std::function<bool(QRgb)>& pred)
{
    int n = 0;
    const QRect r = area.intersected(img.rect());
    for (int y = r.top(); y <= r.bottom(); ++y)
    {
        for (int x = r.left(); x <= r.right(); ++x)
        {
            n += pred(img.pixel(x, y)) ? 1 : 0;
        }
    }
    return n;
}

bool Green(QRgb p)
{
    return qGreen(p) > 120 && qRed(p) < 60 && qBlue(p) < 60;
}

bool Red(QRgb p)
{
    return qRed(p) > 120 && qGreen(p) < 60 && qBlue(p) < 60;
}
}  // namespace

class TestLimitsUi : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void limitEditorRowsFilesAndRefusals();
    void rippleEditorRoundTrip();
    void panelEditorsAndSound();
    void plotDrawsLinesAndVerdicts();

private:
    MainWindow* OpenWindow();
    // Whether the single sweep has ended.
    bool Held(MainWindow* window);
    VnaLib none;
};

void TestLimitsUi::initTestCase()
{
    testfx::IsolateUserFiles();
    // Crisp one-pixel lines, so their rows can be read back.
    Preferences::Get().traceAntialiasing = false;
    Preferences::Get().traceThickness = 1.0;
}

void TestLimitsUi::limitEditorRowsFilesAndRefusals()
{
    QTemporaryDir dir;
    LimitLineRangeEditor ed({}, QStringLiteral("dB"));
    ed.show();
    QCOMPARE(ed.windowTitle(), QString("Edit Limit Line Ranges"));
    auto* list = ed.findChild<QListWidget*>(QStringLiteral("ranges"));
    auto* start = ed.findChild<KXLineEdit*>(QStringLiteral("startFreq"));
    QVERIFY(list && start);
    QVERIFY(!start->isEnabled());

    // An empty table is refused before any file name is asked for.
    {
        ModalAnswerer answer;
        Click(&ed, "Save Table");
        QCOMPARE(answer.titles, QStringList{"Warning"});
        QCOMPARE(answer.texts, QStringList{"No ranges configured, cancelling."});
        QVERIFY(answer.fileCaptions.isEmpty());
    }

    // Two rows; the new row is selected with the defaults, then edited through its fields.
    Click(&ed, "Add Range");
    Click(&ed, "Add Range");
    QCOMPARE(list->count(), 2);
    QCOMPARE(list->item(1)->text(), QString("Range 2"));
    QCOMPARE(list->currentRow(), 1);
    QVERIFY(start->isEnabled());
    QCOMPARE(start->Value(), 0.0);
    QCOMPARE(ed.findChild<KXLineEdit*>(QStringLiteral("stopFreq"))->Value(), 40e9);
    testfx::Choose(&ed, "type", LimitMin);
    Type(&ed, "startFreq", "1 GHz");
    Type(&ed, "stopFreq", "2.5 GHz");
    Type(&ed, "startOffset", "-3.25");
    Type(&ed, "stopOffset", "-7.5 dB");
    const QVector<VNALimitRange> edited{VNALimitRange{},
                                        VNALimitRange{LimitMin, 1e9, 2.5e9, -3.25, -7.5}};
    QVERIFY(SameRanges(ed.Ranges(), edited));
    list->setCurrentRow(0);  // the fields follow the selection
    QCOMPARE(start->Value(), 0.0);
    QCOMPARE(ed.findChild<KXComboBox*>(QStringLiteral("type"))->currentIndex(), int(LimitMax));

    // Saved where the operator chooses, under the table's own title; the folder is remembered.
    const QString saved = dir.filePath("table.csv");
    {
        ModalAnswerer answer;
        answer.QueueFile(saved);
        Click(&ed, "Save Table");
        QCOMPARE(answer.fileCaptions, QStringList{"Limit Line Table"});
        QVERIFY(answer.texts.isEmpty());
    }
    QVERIFY(QFileInfo::exists(saved));
    QCOMPARE(QDir(GetDefaultUserDirectory("DefaultLimitLineSaveDirectory")), QDir(dir.path()));

    // Loading replaces every row of another editor.
    LimitLineRangeEditor other({VNALimitRange{LimitOff, 5, 6, 7, 8}}, QStringLiteral("dB"));
    {
        ModalAnswerer answer;
        answer.QueueFile(saved);
        Click(&other, "Load Table");
        QVERIFY(answer.texts.isEmpty());
    }
    QVERIFY(SameRanges(other.Ranges(), edited));
    QCOMPARE(other.findChild<QListWidget*>(QStringLiteral("ranges"))->count(), 2);

    // Every refusal names its reason under "Error" and keeps the table.
    const QString header =
        "FileType,LimitLineRangeTable\nVersion,1\n"
        "Type,StartFreq,StopFreq,StartOffset,StopOffset\n";
    const QString row = "Max,1,2,3,4\n";
    const struct
    {
        QString name, contents, message;
    } refused[] = {
        {"gone.csv", row, "Unable to read file."},  // removed once chosen
        {"kind.csv", QString(header).replace("LimitLine", "RippleLimitLine") + row,
         "Invalid file type."},
        {"version.csv", QString(header).replace("Version,1", "Version,2") + row,
         "Invalid file type."},
        {"norows.csv", header, "Invalid file type."},
    };
    for (const auto& r : refused)
    {
        const QString path = testfx::WriteFile(dir, r.name, r.contents.toUtf8());
        ModalAnswerer answer;
        answer.QueueFile(path,
                         [&]
                         {
                             if (r.name == "gone.csv")
                             {
                                 QFile::remove(path);
                             }
                         });
        Click(&other, "Load Table");
        QCOMPARE(answer.titles, QStringList{"Error"});
        QCOMPARE(answer.texts, QStringList{r.message});
        QVERIFY(SameRanges(other.Ranges(), edited));
    }

    // A cancelled file dialog changes nothing and says nothing.
    {
        ModalAnswerer answer;
        Click(&other, "Load Table");
        QCOMPARE(answer.fileCaptions.size(), 1);
        QVERIFY(answer.texts.isEmpty());
        QVERIFY(SameRanges(other.Ranges(), edited));
    }

    // Deleting the selected rows, then none left: the fields are disabled.
    Click(&ed, "Delete Range");
    QVERIFY(SameRanges(ed.Ranges(), {edited[1]}));
    QCOMPARE(list->count(), 1);
    QCOMPARE(start->Value(), 1e9);
    Click(&ed, "Delete Range");
    QVERIFY(ed.Ranges().isEmpty());
    QVERIFY(!start->isEnabled());
    Click(&ed, "Delete Range");  // nothing to delete
    QVERIFY(ed.Ranges().isEmpty());
    Click(&other, "Clear Table");
    QVERIFY(other.Ranges().isEmpty());
    QCOMPARE(other.findChild<QListWidget*>(QStringLiteral("ranges"))->count(), 0);
}

void TestLimitsUi::rippleEditorRoundTrip()
{
    QTemporaryDir dir;
    RippleLimitLineRangeEditor ed({}, QStringLiteral("dB"));
    ed.show();
    QCOMPARE(ed.windowTitle(), QString("Edit Ripple Limit Line Ranges"));
    {
        ModalAnswerer answer;
        Click(&ed, "Save Table");
        QCOMPARE(answer.texts, QStringList{"No ranges configured, cancelling."});
        QVERIFY(answer.fileCaptions.isEmpty());
    }
    Click(&ed, "Add Range");
    QCOMPARE(ed.Ranges().value(0).type, RippleAbsolute);
    testfx::Choose(&ed, "type", RippleMargin);
    Type(&ed, "startFreq", "2.6 GHz");
    Type(&ed, "stopFreq", "2.8 GHz");
    Type(&ed, "maxRipple", "0.75");
    const QString saved = dir.filePath("ripple.csv");
    {
        ModalAnswerer answer;
        answer.QueueFile(saved);
        Click(&ed, "Save Table");
        QCOMPARE(answer.fileCaptions, QStringList{"Ripple Limit Line Table"});
    }
    QCOMPARE(QDir(GetDefaultUserDirectory("DefaultRippleLimitLineSaveDirectory")),
             QDir(dir.path()));

    RippleLimitLineRangeEditor back({}, QStringLiteral("dB"));
    {
        ModalAnswerer answer;
        answer.QueueFile(saved);
        Click(&back, "Load Table");
        QVERIFY(answer.texts.isEmpty());
    }
    QCOMPARE(back.Ranges().size(), 1);
    const VNARippleLimitRange r = back.Ranges()[0];
    QVERIFY(r.type == RippleMargin && r.startFreq == 2.6e9 && r.stopFreq == 2.8e9 &&
            r.maxRipple == 0.75);
    QCOMPARE(back.findChild<KXLineEdit*>(QStringLiteral("maxRipple"))->Value(), 0.75);

    // A limit table is not a ripple table.
    LimitLineRangeEditor limits({VNALimitRange{}}, QStringLiteral("dB"));
    const QString limitPath = dir.filePath("limits.csv");
    {
        ModalAnswerer answer;
        answer.QueueFile(limitPath);
        Click(&limits, "Save Table");
    }
    {
        ModalAnswerer answer;
        answer.QueueFile(limitPath);
        Click(&back, "Load Table");
        QCOMPARE(answer.texts, QStringList{"Invalid file type."});
    }
    QCOMPARE(back.Ranges().size(), 1);
}

MainWindow* TestLimitsUi::OpenWindow()
{
    ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
    auto* window = new MainWindow(nullptr, &none);
    window->show();
    // One sweep, then the data stay: verdicts are read against fixed data.
    window->triggerSweepModeChanged(0, VNASweepMode::Single);
    return window;
}

bool TestLimitsUi::Held(MainWindow* window)
{
    return QTest::qWaitFor(
        [&] { return window->Model().channels[0]->sweepMode.GetMode() == VNASweepMode::Hold; },
        30000);
}

void TestLimitsUi::panelEditorsAndSound()
{
    std::unique_ptr<MainWindow> window(OpenWindow());
    QVERIFY(Held(window.get()));
    VNAModel& m = window->Model();
    const int tr = m.selectedTraceIndex;
    VNATrace* t = m.traces[tr];
    QVERIFY(t && !t->y.isEmpty());
    window->panelButtonClicked(8);
    auto* panel = qobject_cast<LimitLinePanel*>(window->Panel(8));
    QVERIFY(panel);
    const QList<QCheckBox*> boxes = panel->findChildren<QCheckBox*>();
    QCOMPARE(boxes.size(), 5);  // Enabled, Show, Sound, Ripple Enabled, Ripple Show
    QVERIFY(!boxes[0]->isChecked() && boxes[1]->isChecked() && !boxes[2]->isChecked());

    // The editor opened from the panel works on a copy: cancelled, the trace keeps its table.
    const double top = *std::max_element(t->y.begin(), t->y.end());
    const double bottom = *std::min_element(t->y.begin(), t->y.end());
    // Typed with no more decimals than the field shows, which is what it keeps.
    const double mid = std::round((top + bottom) / 2 * 10) / 10;
    auto fillEditor = [&](QDialog* d, const char* close)
    {
        QCOMPARE(d->windowTitle(), QString("Edit Limit Line Ranges"));
        Click(d, "Add Range");
        // Offsets in the unit of the trace's format.
        QVERIFY(d->findChild<KXLineEdit*>(QStringLiteral("startOffset"))
                    ->text()
                    .endsWith(GetUnitString(t->format)));
        Type(d, "startOffset", QString::number(mid));
        Type(d, "stopOffset", QString::number(mid));
        Click(d, close);
    };
    {
        ModalAnswerer answer;
        answer.onDialog = [&](QDialog* d) { fillEditor(d, "Cancel"); };
        Click(panel, "Define Limits");
    }
    QVERIFY(t->GetLimitRanges().isEmpty());
    {
        ModalAnswerer answer;
        answer.onDialog = [&](QDialog* d) { fillEditor(d, "OK"); };
        Click(panel, "Define Limits");
    }
    const QVector<VNALimitRange> installed{VNALimitRange{LimitMax, 0, 40e9, mid, mid}};
    QVERIFY(SameRanges(t->GetLimitRanges(), installed));

    // The test runs once the box is ticked; the verdict is the reference's on the trace's data.
    QVERIFY(t->limitPass);
    boxes[0]->click();
    QVERIFY(t->limitTest);
    QCOMPARE(t->limitPass, testfx::RefLimitPass(installed, t->x, t->y));
    QVERIFY(!t->limitPass);
    boxes[1]->click();
    QVERIFY(!t->limitShow);
    boxes[3]->click();
    boxes[4]->click();
    QVERIFY(t->rippleTest && !t->rippleShow);

    // A change from elsewhere shows in the panel.
    window->limitShow(tr, true);
    QVERIFY(boxes[1]->isChecked());

    // Failing, the trace is heard only when it asks to be.
    const int before = window->LimitFailSounds();
    window->updatePlots();
    QCOMPARE(window->LimitFailSounds(), before);
    boxes[2]->click();
    QVERIFY(t->limitSound);
    QCOMPARE(window->LimitFailSounds(), before + 1);

    // The ripple editor from the panel installs its table and sizes the results.
    {
        ModalAnswerer answer;
        answer.onDialog = [&](QDialog* d)
        {
            QCOMPARE(d->windowTitle(), QString("Edit Ripple Limit Line Ranges"));
            Click(d, "Add Range");
            Type(d, "maxRipple", "1000");
            Click(d, "OK");
        };
        Click(panel, "Define Ripple Limits");
    }
    QCOMPARE(t->GetRippleRanges().size(), 1);
    QCOMPARE(t->GetRippleMeas().size(), 1);
    QVERIFY(t->ripplePass);
    window->close();

    // The rate limit: the first sound is always due, then one per interval.
    qint64 last = -1;
    QVERIFY(LimitSoundDue(last, 5000, 1000));
    QCOMPARE(last, qint64(5000));
    QVERIFY(!LimitSoundDue(last, 5999, 1000));
    QCOMPARE(last, qint64(5000));
    QVERIFY(LimitSoundDue(last, 6000, 1000));
    QCOMPARE(last, qint64(6000));
}

void TestLimitsUi::plotDrawsLinesAndVerdicts()
{
    std::unique_ptr<MainWindow> window(OpenWindow());
    QVERIFY(Held(window.get()));
    VNAModel& m = window->Model();
    const int tr = m.selectedTraceIndex;
    VNATrace* t = m.traces[tr];
    // This trace alone on its plot.
    for (int i = 0; i < m.traces.size(); ++i)
    {
        if (i != tr)
        {
            window->traceDelete(i);
        }
    }
    // 10 dB at the top, 10 dB per division.
    const double yTop = 10.0;
    window->traceRefPosChanged(tr, 0.0);
    window->traceRefChanged(tr, yTop);
    window->traceDivChanged(tr, 10.0);
    const double f0 = t->x.first(), f1 = t->x.last();
    const double top = *std::max_element(t->y.begin(), t->y.end());
    const double bottom = *std::min_element(t->y.begin(), t->y.end());
    QVERIFY2(top < yTop - 5 && bottom > yTop - 95, "the demo reflection fits the graticule");

    // A Max line over the middle half, between the data's extremes: it fails somewhere.
    const double level = (top + bottom) / 2;
    const QVector<VNALimitRange> table{
        VNALimitRange{LimitMax, f0 + (f1 - f0) / 4, f0 + 3 * (f1 - f0) / 4, level, level}};
    window->limitRangesChanged(tr, table);
    window->limitTest(tr, true);
    QCOMPARE(t->limitPass, testfx::RefLimitPass(table, t->x, t->y));
    QVERIFY(!t->limitPass);

    VNAPlot* plot = window->Plot(t->plot);
    QVERIFY(plot);
    plot->resize(800, 500);
    QImage img(plot->size(), QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    plot->render(&img);

    const QRectF r = plot->PlotRect();
    const int fh = QFontMetrics(plot->font()).height();
    const QColor color = ColorPrefs::Get().GetTraceColor(tr);
    auto traceColored = [&](QRgb p)
    {
        return std::abs(qRed(p) - color.red()) < 40 && std::abs(qGreen(p) - color.green()) < 40 &&
               std::abs(qBlue(p) - color.blue()) < 40;
    };
    // The line: a row of trace colour at its level, across the range and not beyond it.
    const int yLine = int(std::lround(r.top() + (yTop - level) / 100.0 * r.height()));
    const int x0 = int(r.left() + r.width() / 4), x1 = int(r.left() + 3 * r.width() / 4);
    const QRect inside(x0 + 10, yLine - 1, x1 - x0 - 20, 3);
    QVERIFY(CountPixels(img, inside, traceColored) > inside.width() * 0.9);
    const QRect beyond(int(r.left()) + 5, yLine - 1, x0 - int(r.left()) - 15, 3);
    QVERIFY(CountPixels(img, beyond, traceColored) < beyond.width() * 0.2);

    // The verdict at the bottom left: "Fail" in red; with the line above all data, "Pass" in
    // green and the line drawn higher.
    const QRect verdict(int(r.left()) + 1, int(r.bottom()) - fh, int(r.width() / 3), fh - 1);
    QVERIFY(CountPixels(img, verdict, Red) > 10);
    QCOMPARE(CountPixels(img, verdict, Green), 0);
    const double above = top + 2.0;
    window->limitRangesChanged(tr, {VNALimitRange{LimitMax, f0, f1, above, above}});
    QVERIFY(t->limitPass);
    plot->render(&img);
    QVERIFY(CountPixels(img, verdict, Green) > 10);
    QCOMPARE(CountPixels(img, verdict, Red), 0);
    const int yAbove = int(std::lround(r.top() + (yTop - above) / 100.0 * r.height()));
    const QRect high(int(r.left()) + 10, yAbove - 1, int(r.width()) - 20, 3);
    QVERIFY(CountPixels(img, high, traceColored) > high.width() * 0.9);

    // Hidden lines are not drawn, the verdict stays.
    window->limitShow(tr, false);
    plot->render(&img);
    QVERIFY(CountPixels(img, high, traceColored) < high.width() * 0.2);
    QVERIFY(CountPixels(img, verdict, Green) > 10);

    // A ripple range that fails prints its verdict in red below the top edge, and its band
    // follows the data measured in it.
    window->rippleRangesChanged(tr, {VNARippleLimitRange{RippleAbsolute, f0, f1, 0.01}});
    window->rippleLimitTest(tr, true);
    QVERIFY(!t->ripplePass);
    const QRect ripple(int(r.left()) + 1, int(r.top()) + 1, int(r.width() / 3), fh);
    plot->render(&img);
    QVERIFY(CountPixels(img, ripple, Red) > 10);
    const VNARippleMeas meas = t->GetRippleMeas().value(0);
    const double c = (meas.min + meas.max) / 2;
    const int yBand = int(std::lround(r.top() + (yTop - c) / 100.0 * r.height()));
    const QRect band(int(r.left()) + 10, yBand - 1, int(r.width()) - 20, 3);
    QVERIFY(CountPixels(img, band, traceColored) > band.width() * 0.9);
    window->close();
}

QTEST_MAIN(TestLimitsUi)
#include "test_limits_ui.moc"
