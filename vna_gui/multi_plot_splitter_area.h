// The plot area: a tree of splitters whose leaves are plot frames (a title bar with the plot's
// title and a close button, then the plot). Plots are moved by dragging a title bar onto an edge
// of another plot; the arrangement is saved and restored as a compact description.
#pragma once

#include <QFrame>
#include <QList>
#include <QMap>
#include <QPointer>
#include <QString>
#include <QWidget>

class ApplicationSettings;
class Overlay;
class QLabel;
class QMimeData;
class QSplitter;
struct PlotLayoutNode;

// One leaf of the tree: the plot under its title bar.
class KXPlotFrame : public QFrame
{
    Q_OBJECT
public:
    KXPlotFrame(QWidget* plot, int number, QWidget* parent = nullptr);

    int Number() const { return number; }
    QWidget* Plot() const { return plot; }
    QWidget* TitleBar() const { return titleBar; }

signals:
    void closeRequested(int number);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void UpdateTitle();

    QWidget* plot;
    int number;
    QWidget* titleBar;
    QLabel* titleLabel;
};

class KXMultiPlotSplitterArea : public QWidget
{
    Q_OBJECT
public:
    // Where a moved plot goes relative to its target.
    enum Edge
    {
        EdgeLeft,
        EdgeRight,
        EdgeTop,
        EdgeBottom
    };

    // The drag's payload: the plot slot number as text.
    static const char* const kMimeType;

    explicit KXMultiPlotSplitterArea(QWidget* parent = nullptr);

    // Wraps the plot in a frame and splits the largest plot for it; `number` is its slot.
    void AddPlot(QWidget* plot, int number);
    // Deletes the plot's frame with the plot; a splitter left with one child gives way to it.
    void RemovePlot(int number);
    void Clear();
    // Puts the plot beside, above or below the target; false (nothing changed) when either is
    // missing or they are the same plot.
    bool MovePlot(int number, int target, Edge edge);

    bool HasPlot(int number) const { return frames.contains(number); }
    KXPlotFrame* Frame(int number) const { return frames.value(number); }
    QSplitter* Root() const { return root; }
    // The tree as text: leaves are slot numbers, a splitter is "H(...)" or "V(...)" followed by
    // its sizes in brackets when withSizes is set.
    QString Describe(bool withSizes) const;

    // Group "PlotLayout" of the settings, which stay positioned where they were.
    void SaveLayout(ApplicationSettings& settings) const;
    // The same for a description taken earlier, so that a file thread need not read widgets.
    static void SaveLayout(ApplicationSettings& settings, const QString& description);
    // Rearranges the plots present after the saved tree. Plots it does not name keep a default
    // place; what it names that does not exist, and text that does not parse, are ignored.
    void LoadLayout(ApplicationSettings& settings);
    // The same from the description text itself.
    void ApplyDescription(const QString& text);

    // The edge of a rectangle of the given size whose region holds pos (nearest edge wins).
    static Edge EdgeAt(const QSize& size, const QPoint& pos);
    // The part of a target's rectangle that a drop on the edge would give the moved plot.
    static QRect DropRect(const QRect& target, Edge edge);

signals:
    void plotClosing(int number);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    // Splits the largest leaf (by the area it is given) along its longer side.
    void PlaceByDefault(KXPlotFrame* frame);
    void InsertBeside(QWidget* target, QWidget* moved, Edge edge);
    // Removes splitters left empty or with one child below root, and a lone splitter in root.
    void Collapse(QSplitter* splitter);
    void Detach(QWidget* widget);
    QSplitter* NewSplitter(Qt::Orientation orientation);
    KXPlotFrame* LargestLeaf(QSize& leafSize) const;
    void Build(QSplitter* parent, const PlotLayoutNode& node);
    void ApplySizes(QSplitter* splitter, const PlotLayoutNode& node);
    // The frame under a position of this widget and the moved plot's number from the drag.
    KXPlotFrame* DropTarget(const QPoint& pos) const;
    int DraggedNumber(const QMimeData* mime) const;
    void HideIndicator();

    QSplitter* root;
    QMap<int, KXPlotFrame*> frames;  // plot slot -> frame holding the plot
    QPointer<Overlay> indicator;
};

// The window's plot holder: one splitter area under the name the window knows.
class ChannelWidget : public QWidget
{
    Q_OBJECT
public:
    explicit ChannelWidget(QWidget* parent = nullptr);

    // Takes the plot into the area; `number` is its slot.
    void AddPlot(QWidget* plot, int number);
    // Removes the plot's frame; the plot itself is deleted with it.
    void RemovePlot(int number);
    void Clear();
    bool MovePlot(int number, int target, KXMultiPlotSplitterArea::Edge edge);
    void SaveLayout(ApplicationSettings& settings) const;
    void LoadLayout(ApplicationSettings& settings);
    KXMultiPlotSplitterArea* Area() const { return area; }

signals:
    void plotClosing(int number);

private:
    KXMultiPlotSplitterArea* area;
};
