// MainWindow: markers. Each slot hands the value to the model's marker operation, which takes the
// trace lock, moves coupled markers along and asks the panels and plots to refresh. The forms
// without a trace act on the selected trace and its active marker (-1, which every operation
// ignores, when there is no such trace).
#include "mainwindow.h"
#include "vna_plot.h"

namespace
{
// Gives the active marker's frequency to a stimulus edit of its trace's channel.
void HandActiveMarkerFreq(MainWindow& w, void (MainWindow::*edit)(int, Frequency))
{
    int channel = 0;
    double f = 0.0;
    if (w.Model().GetActiveMarkerFreq(w.ActiveTraceIndex(), channel, f))
    {
        (w.*edit)(channel, Frequency(f));
    }
}
}  // namespace

void MainWindow::ConnectPlotMarkers(VNAPlot* plot)
{
    connect(plot, &VNAPlot::markerPlaced, this, &MainWindow::markerPlace);
    connect(plot, &VNAPlot::moveMarker, this, &MainWindow::markerMove);
    connect(plot, &VNAPlot::addMarker, this, &MainWindow::markerAddMarker);
    connect(plot, &VNAPlot::markerPeakMax, this,
            QOverload<int, int>::of(&MainWindow::markerPeakMax));
    connect(plot, &VNAPlot::markerPeakMin, this,
            QOverload<int, int>::of(&MainWindow::markerPeakMin));
    connect(plot, &VNAPlot::markerDisableAllOnTrace, this,
            QOverload<int>::of(&MainWindow::markerDisableAllTrace));
    connect(plot, &VNAPlot::markerDisableAllOnChannel, this,
            QOverload<>::of(&MainWindow::markerDisableAllChannel));
}

void MainWindow::markerSelected(int marker)
{
    model.markerSetActive(ActiveTraceIndex(), marker);
}

void MainWindow::markerEnable(int trace, int marker, bool on)
{
    model.markerEnable(trace, marker, on);
}

void MainWindow::markerEnable(bool on)
{
    markerEnable(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()), on);
}

void MainWindow::markerFixed(int trace, int marker, bool on)
{
    model.markerFixed(trace, marker, on);
}

void MainWindow::markerFixed(bool on)
{
    markerFixed(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()), on);
}

void MainWindow::markerDelta(int trace, int marker, bool on)
{
    model.markerDelta(trace, marker, on);
}

void MainWindow::markerDelta(bool on)
{
    markerDelta(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()), on);
}

void MainWindow::markerToRef()
{
    model.markerToRef(ActiveTraceIndex());
}

void MainWindow::markerPlace(int trace, double fraction)
{
    model.markerPlace(trace, fraction);
}

void MainWindow::markerAddMarker(int trace)
{
    model.markerAddMarker(trace);
}

void MainWindow::markerMove(int trace, bool left)
{
    model.markerMove(trace, left);
}

void MainWindow::markerSetX(int trace, int marker, double value)
{
    model.markerSetX(trace, marker, value);
}

void MainWindow::markerSetFreq(Frequency f)
{
    model.markerSetFreq(f.Get());
}

void MainWindow::markerSetTime(double seconds)
{
    markerSetX(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()), seconds);
}

void MainWindow::markerToStart()
{
    HandActiveMarkerFreq(*this, &MainWindow::stimStartFreqChanged);
}

void MainWindow::markerToStop()
{
    HandActiveMarkerFreq(*this, &MainWindow::stimStopFreqChanged);
}

void MainWindow::markerToCenter()
{
    HandActiveMarkerFreq(*this, &MainWindow::stimCenterFreqChanged);
}

void MainWindow::markerPeakMax(int trace, int marker)
{
    model.markerPeakMax(trace, marker);
}

void MainWindow::markerPeakMax()
{
    markerPeakMax(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()));
}

void MainWindow::markerPeakMin(int trace, int marker)
{
    model.markerPeakMin(trace, marker);
}

void MainWindow::markerPeakMin()
{
    markerPeakMin(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()));
}

void MainWindow::markerPeakLeft(int trace, int marker)
{
    model.markerPeakLeft(trace, marker);
}

void MainWindow::markerPeakLeft()
{
    markerPeakLeft(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()));
}

void MainWindow::markerPeakRight(int trace, int marker)
{
    model.markerPeakRight(trace, marker);
}

void MainWindow::markerPeakRight()
{
    markerPeakRight(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()));
}

void MainWindow::markerPeakNext(int trace, int marker)
{
    model.markerPeakNext(trace, marker);
}

void MainWindow::markerPeakNext()
{
    markerPeakNext(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()));
}

void MainWindow::markerExecute(int trace, int marker, int function)
{
    model.markerExecute(trace, marker, VNAMarkerFunction(function));
}

void MainWindow::markerThresholdChanged(int trace, int marker, double value)
{
    model.markerThresholdChanged(trace, marker, value);
}

void MainWindow::markerThresholdChanged(double value)
{
    markerThresholdChanged(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()), value);
}

void MainWindow::markerExcursionChanged(int trace, int marker, double value)
{
    model.markerExcursionChanged(trace, marker, value);
}

void MainWindow::markerExcursionChanged(double value)
{
    markerExcursionChanged(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()), value);
}

void MainWindow::markerTrackingChanged(int trace, int marker, int tracking)
{
    if (tracking == MarkerTrackingOff || tracking == MarkerTrackingPeak)
    {
        model.markerTrackingChanged(trace, marker, VNAMarkerTrackingFunction(tracking));
    }
}

void MainWindow::markerTrackingChanged(int tracking)
{
    markerTrackingChanged(ActiveTraceIndex(), model.ActiveMarker(ActiveTraceIndex()), tracking);
}

void MainWindow::markerBWLimitChanged(int trace, double value)
{
    model.markerBWLimitChanged(trace, value);
}

void MainWindow::markerBWLimitChanged(double value)
{
    markerBWLimitChanged(ActiveTraceIndex(), value);
}

void MainWindow::markerBWSearch(int trace)
{
    model.markerBWSearch(trace);
}

void MainWindow::markerBWSearch()
{
    markerBWSearch(ActiveTraceIndex());
}

void MainWindow::markerBWEnable(int trace, bool on)
{
    model.markerBWEnable(trace, on);
}

void MainWindow::markerBWEnable(bool on)
{
    markerBWEnable(ActiveTraceIndex(), on);
}

void MainWindow::markerBWTrackingEnable(int trace, bool on)
{
    model.markerBWTrackingEnable(trace, on);
}

void MainWindow::markerBWTrackingEnable(bool on)
{
    markerBWTrackingEnable(ActiveTraceIndex(), on);
}

void MainWindow::markerDisableAllTrace(int trace)
{
    model.markerDisableAllTrace(trace);
}

void MainWindow::markerDisableAllTrace()
{
    markerDisableAllTrace(ActiveTraceIndex());
}

void MainWindow::markerDisableAllChannel(int channel)
{
    model.markerDisableAllChannel(channel);
}

void MainWindow::markerDisableAllChannel()
{
    markerDisableAllChannel(model.activeChannelIndex);
}

void MainWindow::markerDisableAll()
{
    model.markerDisableAll();
}

void MainWindow::markerSetCoupling(int method)
{
    model.markerSetCoupling(MarkerCouplingMethod(method));
}
