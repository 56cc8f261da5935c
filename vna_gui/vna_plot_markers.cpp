// VNAPlot: the markers of a trace, their read-out table at the top right of the graticule, and the
// points the bandwidth search found. Called with the trace lock held and the data view set.
#include "vna_plot.h"
#include "vna_trace.h"

void VNAPlot::DrawMarkers(VNAPainter& p, const VNATrace& t, Cursors& cur)
{
    bool any = false;
    for (int k = 0; k < VNATrace::kMarkerCount; ++k)
    {
        const VNAMarker& m = t.markers[k];
        if (m.enabled)
        {
            // The reference marker is number 16 on the plot, labelled "R".
            p.DrawMarker(k + 1, m.x, m.y);
            any = true;
        }
    }
    if (!any)
    {
        return;
    }
    // The table goes on in widget terms, unclipped, all rows in one go: switching the view and
    // the clip for every row would cost more than the text.
    const QTransform saved = p.worldTransform();
    p.LoadIdentity();
    p.setClipping(false);
    for (int k = 0; k < VNATrace::kMarkerCount; ++k)
    {
        if (t.markers[k].enabled)
        {
            p.DrawString(t.GetMarkerReadout(k), cur.marker, Qt::AlignRight);
            cur.marker.ry() += p.FontHeight();
        }
    }
    // The clip rectangle is given in device terms, before the data view returns.
    p.setClipRect(plotRect);
    p.setWorldTransform(saved);
}

void VNAPlot::DrawBandwidthMarkers(VNAPainter& p, const VNATrace& t)
{
    if (!t.bwSearchEnabled || !t.bwFound)
    {
        return;
    }
    p.DrawMarker(-1, t.bwPeakFreq, t.bwPeakValue);
    p.DrawMarker(-1, t.bwLowFreq, t.bwLowValue);
    p.DrawMarker(-1, t.bwHighFreq, t.bwHighValue);
}
