#include "multi_plot_splitter_area.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QSet>
#include <QSplitter>
#include <QToolButton>
#include <QVBoxLayout>
#include <vector>

#include "application_settings.h"
#include "vna_plot.h"

// One node of a parsed description: a leaf names a plot slot, anything else is a splitter.
struct PlotLayoutNode
{
    int number = -1;
    Qt::Orientation orientation = Qt::Horizontal;
    std::vector<PlotLayoutNode> children;
    QList<int> sizes;

    bool IsLeaf() const { return number >= 0; }
};

namespace
{
const QString kGroup = QStringLiteral("PlotLayout");
const QString kTreeKey = QStringLiteral("Tree");
// Deeper text than 32 plots can need is damaged, and must not exhaust the stack.
constexpr int kMaxDepth = 40;

// Recursive descent over "node := number | (H|V) '(' node {',' node} ')' ['[' n {',' n} ']']".
class DescriptionParser
{
public:
    explicit DescriptionParser(const QString& text) : s(text) {}

    bool Parse(PlotLayoutNode& node) { return ParseNode(node, 0) && (Skip(), at == s.size()); }

private:
    void Skip()
    {
        while (at < s.size() && s[at].isSpace())
        {
            ++at;
        }
    }

    bool Take(QChar c)
    {
        Skip();
        if (at < s.size() && s[at] == c)
        {
            ++at;
            return true;
        }
        return false;
    }

    bool Number(int& n)
    {
        Skip();
        const int start = at;
        while (at < s.size() && s[at].isDigit() && at - start < 9)
        {
            ++at;
        }
        if (at == start || (at < s.size() && s[at].isDigit()))
        {
            return false;
        }
        n = s.midRef(start, at - start).toInt();
        return true;
    }

    bool ParseNode(PlotLayoutNode& node, int depth)
    {
        if (depth > kMaxDepth)
        {
            return false;
        }
        Skip();
        if (at < s.size() && (s[at] == QLatin1Char('H') || s[at] == QLatin1Char('V')))
        {
            node.orientation = s[at++] == QLatin1Char('H') ? Qt::Horizontal : Qt::Vertical;
            return ParseChildren(node, depth) && ParseSizes(node);
        }
        return Number(node.number);
    }

    bool ParseChildren(PlotLayoutNode& node, int depth)
    {
        if (!Take(QLatin1Char('(')))
        {
            return false;
        }
        do
        {
            node.children.emplace_back();
            if (!ParseNode(node.children.back(), depth + 1))
            {
                return false;
            }
        } while (Take(QLatin1Char(',')));
        return Take(QLatin1Char(')'));
    }

    bool ParseSizes(PlotLayoutNode& node)
    {
        if (!Take(QLatin1Char('[')))
        {
            return true;
        }
        do
        {
            int n = 0;
            if (!Number(n))
            {
                return false;
            }
            node.sizes.append(n);
        } while (Take(QLatin1Char(',')));
        return Take(QLatin1Char(']'));
    }

    const QString& s;
    int at = 0;
};

// Drops leaves naming plots that are absent or already placed, then splitters left empty, and
// puts a splitter's only child in its place. False when nothing of the node remains.
bool Prune(PlotLayoutNode& node, const QSet<int>& present, QSet<int>& used)
{
    if (node.IsLeaf())
    {
        if (!present.contains(node.number) || used.contains(node.number))
        {
            return false;
        }
        used.insert(node.number);
        return true;
    }
    const bool sized = node.sizes.size() == int(node.children.size());
    std::vector<PlotLayoutNode> kept;
    QList<int> keptSizes;
    for (size_t i = 0; i < node.children.size(); ++i)
    {
        if (Prune(node.children[i], present, used))
        {
            kept.push_back(std::move(node.children[i]));
            keptSizes.append(sized ? node.sizes[int(i)] : 0);
        }
    }
    if (kept.empty())
    {
        return false;
    }
    if (kept.size() == 1)
    {
        PlotLayoutNode only = std::move(kept.front());
        node = std::move(only);
        return true;
    }
    node.children = std::move(kept);
    node.sizes = sized ? keptSizes : QList<int>();
    return true;
}

QString Describe(const QWidget* w, bool withSizes)
{
    if (auto* frame = qobject_cast<const KXPlotFrame*>(w))
    {
        return QString::number(frame->Number());
    }
    auto* splitter = qobject_cast<const QSplitter*>(w);
    if (!splitter)
    {
        return QString();
    }
    QStringList parts;
    for (int i = 0; i < splitter->count(); ++i)
    {
        parts.append(Describe(splitter->widget(i), withSizes));
    }
    QString text =
        (splitter->orientation() == Qt::Horizontal ? QStringLiteral("H(") : QStringLiteral("V(")) +
        parts.join(QLatin1Char(',')) + QLatin1Char(')');
    if (withSizes)
    {
        QStringList sizes;
        for (int n : splitter->sizes())
        {
            sizes.append(QString::number(n));
        }
        text += QLatin1Char('[') + sizes.join(QLatin1Char(',')) + QLatin1Char(']');
    }
    return text;
}

// The title bar starts a drag of its plot once the pressed mouse has moved far enough.
class PlotTitleBar : public QWidget
{
public:
    PlotTitleBar(int number, QWidget* parent) : QWidget(parent), number(number) {}

protected:
    void mousePressEvent(QMouseEvent* event) override
    {
        if (event->button() == Qt::LeftButton)
        {
            pressPos = event->pos();
            pressed = true;
        }
        QWidget::mousePressEvent(event);
    }

    void mouseReleaseEvent(QMouseEvent* event) override
    {
        pressed = false;
        QWidget::mouseReleaseEvent(event);
    }

    void mouseMoveEvent(QMouseEvent* event) override
    {
        if (!pressed || !(event->buttons() & Qt::LeftButton) ||
            (event->pos() - pressPos).manhattanLength() < QApplication::startDragDistance())
        {
            return;
        }
        pressed = false;
        auto* mime = new QMimeData;
        mime->setData(QLatin1String(KXMultiPlotSplitterArea::kMimeType),
                      QByteArray::number(number));
        auto* drag = new QDrag(this);
        drag->setMimeData(mime);
        drag->setPixmap(grab());
        drag->setHotSpot(pressPos);
        drag->exec(Qt::MoveAction);
    }

private:
    int number;
    QPoint pressPos;
    bool pressed = false;
};
}  // namespace

// --- KXPlotFrame -------------------------------------------------------------------------------

KXPlotFrame::KXPlotFrame(QWidget* p, int n, QWidget* parent) : QFrame(parent), plot(p), number(n)
{
    titleBar = new PlotTitleBar(number, this);
    titleBar->setObjectName(QStringLiteral("PlotTitleBar"));
    titleBar->setCursor(Qt::OpenHandCursor);
    auto* header = new QHBoxLayout(titleBar);
    header->setContentsMargins(4, 0, 0, 0);
    titleLabel = new QLabel(titleBar);
    header->addWidget(titleLabel, 1);
    auto* close = new QToolButton(titleBar);
    close->setText(QStringLiteral("\u2715"));
    close->setToolTip(tr("Close Plot"));
    close->setAutoRaise(true);
    close->setCursor(Qt::ArrowCursor);
    header->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(titleBar);
    plot->setParent(this);
    layout->addWidget(plot, 1);
    plot->installEventFilter(this);
    UpdateTitle();
    connect(close, &QToolButton::clicked, this, [this] { emit closeRequested(number); });
}

bool KXPlotFrame::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == plot && event->type() == QEvent::WindowTitleChange)
    {
        UpdateTitle();
    }
    return QFrame::eventFilter(watched, event);
}

void KXPlotFrame::UpdateTitle()
{
    const QString title = plot->windowTitle();
    titleLabel->setText(title.isEmpty() ? tr("Plot %1").arg(number + 1)
                                        : tr("Plot %1: %2").arg(number + 1).arg(title));
}

// --- KXMultiPlotSplitterArea -------------------------------------------------------------------

const char* const KXMultiPlotSplitterArea::kMimeType = "application/x-kx-plot-number";

KXMultiPlotSplitterArea::KXMultiPlotSplitterArea(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    root = NewSplitter(Qt::Horizontal);
    layout->addWidget(root);
    setAcceptDrops(true);
}

QSplitter* KXMultiPlotSplitterArea::NewSplitter(Qt::Orientation orientation)
{
    auto* s = new QSplitter(orientation, this);
    s->setChildrenCollapsible(false);
    s->setHandleWidth(4);
    return s;
}

void KXMultiPlotSplitterArea::AddPlot(QWidget* plot, int number)
{
    RemovePlot(number);
    auto* frame = new KXPlotFrame(plot, number, this);
    connect(frame, &KXPlotFrame::closeRequested, this, &KXMultiPlotSplitterArea::plotClosing);
    frames.insert(number, frame);
    PlaceByDefault(frame);
}

void KXMultiPlotSplitterArea::RemovePlot(int number)
{
    KXPlotFrame* frame = frames.take(number);
    if (!frame)
    {
        return;
    }
    auto* parent = qobject_cast<QSplitter*>(frame->parentWidget());
    delete frame;
    Collapse(parent);
}

void KXMultiPlotSplitterArea::Clear()
{
    qDeleteAll(frames);
    frames.clear();
    qDeleteAll(root->findChildren<QSplitter*>(QString(), Qt::FindDirectChildrenOnly));
}

bool KXMultiPlotSplitterArea::MovePlot(int number, int target, Edge edge)
{
    KXPlotFrame* moved = frames.value(number);
    KXPlotFrame* to = frames.value(target);
    if (!moved || !to || moved == to)
    {
        return false;
    }
    Detach(moved);
    InsertBeside(to, moved, edge);
    return true;
}

void KXMultiPlotSplitterArea::Detach(QWidget* widget)
{
    auto* parent = qobject_cast<QSplitter*>(widget->parentWidget());
    widget->hide();
    widget->setParent(this);  // owned here while out of the tree
    Collapse(parent);
}

void KXMultiPlotSplitterArea::InsertBeside(QWidget* target, QWidget* moved, Edge edge)
{
    auto* parent = qobject_cast<QSplitter*>(target->parentWidget());
    const Qt::Orientation o = edge == EdgeLeft || edge == EdgeRight ? Qt::Horizontal : Qt::Vertical;
    const bool after = edge == EdgeRight || edge == EdgeBottom;
    const int index = parent->indexOf(target);
    QList<int> sizes = parent->sizes();
    if (parent->count() == 1)
    {
        parent->setOrientation(o);
    }
    if (parent->orientation() == o)
    {
        // The target gives half of its room to the newcomer.
        parent->insertWidget(index + (after ? 1 : 0), moved);
        const int half = sizes.value(index) / 2;
        sizes[index] -= half;
        sizes.insert(index + (after ? 1 : 0), half);
    }
    else
    {
        QSplitter* pair = NewSplitter(o);
        parent->replaceWidget(index, pair);
        pair->addWidget(after ? target : moved);
        pair->addWidget(after ? moved : target);
        target->show();
        pair->show();
        pair->setSizes({1, 1});
    }
    moved->show();
    parent->setSizes(sizes);
}

void KXMultiPlotSplitterArea::Collapse(QSplitter* splitter)
{
    while (splitter && splitter != root)
    {
        auto* parent = qobject_cast<QSplitter*>(splitter->parentWidget());
        if (splitter->count() == 0)
        {
            delete splitter;
            splitter = parent;
            continue;
        }
        if (splitter->count() == 1)
        {
            const QList<int> sizes = parent->sizes();
            QWidget* only = splitter->widget(0);
            parent->replaceWidget(parent->indexOf(splitter), only);
            only->show();
            parent->setSizes(sizes);
            delete splitter;
        }
        break;
    }
    // A lone splitter in root hands its children and orientation to root.
    while (root->count() == 1)
    {
        auto* inner = qobject_cast<QSplitter*>(root->widget(0));
        if (!inner)
        {
            break;
        }
        const QList<int> sizes = inner->sizes();
        root->setOrientation(inner->orientation());
        while (inner->count() > 0)
        {
            QWidget* w = inner->widget(0);
            root->addWidget(w);
            w->show();
        }
        delete inner;
        root->setSizes(sizes);
    }
}

void KXMultiPlotSplitterArea::PlaceByDefault(KXPlotFrame* frame)
{
    QSize leafSize;
    KXPlotFrame* largest = LargestLeaf(leafSize);
    if (!largest)
    {
        root->addWidget(frame);
        frame->show();
        return;
    }
    InsertBeside(largest, frame, leafSize.width() >= leafSize.height() ? EdgeRight : EdgeBottom);
}

namespace
{
// Gives each leaf below w the room its splitter shares would give it inside `given`; sizes not
// yet laid out count as equal shares.
void MeasureLeaves(QWidget* w, const QSizeF& given, QMap<KXPlotFrame*, QSizeF>& out,
                   QList<KXPlotFrame*>& order)
{
    if (auto* frame = qobject_cast<KXPlotFrame*>(w))
    {
        out.insert(frame, given);
        order.append(frame);
        return;
    }
    auto* s = qobject_cast<QSplitter*>(w);
    if (!s || s->count() == 0)
    {
        return;
    }
    const QList<int> sizes = s->sizes();
    double total = 0.0;
    for (int n : sizes)
    {
        total += n;
    }
    const bool horizontal = s->orientation() == Qt::Horizontal;
    const double along = horizontal ? given.width() : given.height();
    for (int i = 0; i < s->count(); ++i)
    {
        const double share = total > 0.0 ? sizes.value(i) / total : 1.0 / s->count();
        const QSizeF part = horizontal ? QSizeF(along * share, given.height())
                                       : QSizeF(given.width(), along * share);
        MeasureLeaves(s->widget(i), part, out, order);
    }
}
}  // namespace

KXPlotFrame* KXMultiPlotSplitterArea::LargestLeaf(QSize& leafSize) const
{
    // Before the area is laid out, a landscape window is assumed.
    const QSizeF whole = root->width() > 0 && root->height() > 0 && root->isVisible()
                             ? QSizeF(root->size())
                             : QSizeF(1600.0, 1000.0);
    QMap<KXPlotFrame*, QSizeF> sizes;
    QList<KXPlotFrame*> order;
    MeasureLeaves(root, whole, sizes, order);
    KXPlotFrame* best = nullptr;
    double bestArea = -1.0;
    for (KXPlotFrame* f : order)
    {
        const QSizeF s = sizes.value(f);
        // Ties go to the earlier plot; a little slack keeps rounding from deciding.
        if (s.width() * s.height() > bestArea * 1.01)
        {
            best = f;
            bestArea = s.width() * s.height();
            leafSize = s.toSize();
        }
    }
    return best;
}

QString KXMultiPlotSplitterArea::Describe(bool withSizes) const
{
    if (root->count() == 0)
    {
        return QString();
    }
    if (root->count() == 1)
    {
        return ::Describe(root->widget(0), false);
    }
    return ::Describe(root, withSizes);
}

void KXMultiPlotSplitterArea::SaveLayout(ApplicationSettings& settings) const
{
    SaveLayout(settings, Describe(true));
}

void KXMultiPlotSplitterArea::SaveLayout(ApplicationSettings& settings, const QString& description)
{
    settings.BeginGroup(kGroup);
    settings.Save(kTreeKey, description);
    settings.EndGroup();
}

void KXMultiPlotSplitterArea::LoadLayout(ApplicationSettings& settings)
{
    QString text;
    settings.BeginGroup(kGroup);
    settings.Load(kTreeKey, text);
    settings.EndGroup();
    ApplyDescription(text);
}

void KXMultiPlotSplitterArea::ApplyDescription(const QString& text)
{
    PlotLayoutNode tree;
    if (!DescriptionParser(text).Parse(tree))
    {
        return;  // damaged or empty: the present arrangement stands
    }
    QSet<int> used;
    const QList<int> numbers = frames.keys();
    if (!Prune(tree, QSet<int>(numbers.begin(), numbers.end()), used))
    {
        return;
    }
    for (KXPlotFrame* frame : frames)
    {
        frame->hide();
        frame->setParent(this);
    }
    qDeleteAll(root->findChildren<QSplitter*>(QString(), Qt::FindDirectChildrenOnly));
    if (tree.IsLeaf())
    {
        Build(root, tree);
    }
    else
    {
        root->setOrientation(tree.orientation);
        for (const PlotLayoutNode& child : tree.children)
        {
            Build(root, child);
        }
        ApplySizes(root, tree);
    }
    for (int number : numbers)
    {
        if (!used.contains(number))
        {
            PlaceByDefault(frames.value(number));
        }
    }
}

void KXMultiPlotSplitterArea::Build(QSplitter* parent, const PlotLayoutNode& node)
{
    QWidget* w = nullptr;
    if (node.IsLeaf())
    {
        w = frames.value(node.number);
    }
    else
    {
        QSplitter* s = NewSplitter(node.orientation);
        for (const PlotLayoutNode& child : node.children)
        {
            Build(s, child);
        }
        w = s;
    }
    parent->addWidget(w);
    w->show();
}

void KXMultiPlotSplitterArea::ApplySizes(QSplitter* splitter, const PlotLayoutNode& node)
{
    if (node.sizes.size() == splitter->count())
    {
        splitter->setSizes(node.sizes);
    }
    for (int i = 0; i < splitter->count() && i < int(node.children.size()); ++i)
    {
        if (auto* child = qobject_cast<QSplitter*>(splitter->widget(i)))
        {
            ApplySizes(child, node.children[size_t(i)]);
        }
    }
}

// --- drag and drop -----------------------------------------------------------------------------

KXMultiPlotSplitterArea::Edge KXMultiPlotSplitterArea::EdgeAt(const QSize& size, const QPoint& pos)
{
    // Distances to each edge relative to the side across it, so a wide plot is not all left
    // and right.
    const double w = std::max(1, size.width());
    const double h = std::max(1, size.height());
    const double left = pos.x() / w;
    const double right = (w - pos.x()) / w;
    const double top = pos.y() / h;
    const double bottom = (h - pos.y()) / h;
    const double nearest = std::min({left, right, top, bottom});
    if (nearest == left)
    {
        return EdgeLeft;
    }
    if (nearest == right)
    {
        return EdgeRight;
    }
    return nearest == top ? EdgeTop : EdgeBottom;
}

QRect KXMultiPlotSplitterArea::DropRect(const QRect& r, Edge edge)
{
    switch (edge)
    {
        case EdgeLeft:
            return QRect(r.left(), r.top(), r.width() / 2, r.height());
        case EdgeRight:
            return QRect(r.left() + r.width() - r.width() / 2, r.top(), r.width() / 2, r.height());
        case EdgeTop:
            return QRect(r.left(), r.top(), r.width(), r.height() / 2);
        case EdgeBottom:
            break;
    }
    return QRect(r.left(), r.top() + r.height() - r.height() / 2, r.width(), r.height() / 2);
}

int KXMultiPlotSplitterArea::DraggedNumber(const QMimeData* mime) const
{
    if (!mime || !mime->hasFormat(QLatin1String(kMimeType)))
    {
        return -1;
    }
    bool ok = false;
    const int number = mime->data(QLatin1String(kMimeType)).toInt(&ok);
    return ok && frames.contains(number) ? number : -1;
}

KXPlotFrame* KXMultiPlotSplitterArea::DropTarget(const QPoint& pos) const
{
    for (QWidget* w = childAt(pos); w && w != this; w = w->parentWidget())
    {
        if (auto* frame = qobject_cast<KXPlotFrame*>(w))
        {
            return frame;
        }
    }
    return nullptr;
}

void KXMultiPlotSplitterArea::dragEnterEvent(QDragEnterEvent* event)
{
    if (DraggedNumber(event->mimeData()) < 0)
    {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
}

void KXMultiPlotSplitterArea::dragMoveEvent(QDragMoveEvent* event)
{
    const int number = DraggedNumber(event->mimeData());
    KXPlotFrame* target = DropTarget(event->pos());
    if (number < 0 || !target || target->Number() == number)
    {
        HideIndicator();
        event->ignore();
        return;
    }
    if (!indicator)
    {
        indicator = new Overlay(this, QColor(0, 0, 0, 40));
    }
    const QRect targetRect(target->mapTo(this, QPoint(0, 0)), target->size());
    indicator->dropValid = true;
    indicator->dropRect =
        DropRect(targetRect, EdgeAt(target->size(), target->mapFrom(this, event->pos())));
    indicator->setGeometry(rect());
    indicator->show();
    indicator->raise();
    indicator->update();
    event->acceptProposedAction();
}

void KXMultiPlotSplitterArea::dragLeaveEvent(QDragLeaveEvent* event)
{
    HideIndicator();
    QWidget::dragLeaveEvent(event);
}

void KXMultiPlotSplitterArea::dropEvent(QDropEvent* event)
{
    HideIndicator();
    const int number = DraggedNumber(event->mimeData());
    KXPlotFrame* target = DropTarget(event->pos());
    if (number < 0 || !target)
    {
        event->ignore();
        return;
    }
    const Edge edge = EdgeAt(target->size(), target->mapFrom(this, event->pos()));
    if (MovePlot(number, target->Number(), edge))
    {
        event->acceptProposedAction();
    }
}

void KXMultiPlotSplitterArea::HideIndicator()
{
    if (indicator)
    {
        indicator->hide();
    }
}

// --- ChannelWidget -----------------------------------------------------------------------------

#include "application_settings.h"

ChannelWidget::ChannelWidget(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    area = new KXMultiPlotSplitterArea(this);
    layout->addWidget(area);
    connect(area, &KXMultiPlotSplitterArea::plotClosing, this, &ChannelWidget::plotClosing);
}

void ChannelWidget::AddPlot(QWidget* plot, int number)
{
    area->AddPlot(plot, number);
}

void ChannelWidget::RemovePlot(int number)
{
    area->RemovePlot(number);
}

void ChannelWidget::Clear()
{
    area->Clear();
}

bool ChannelWidget::MovePlot(int number, int target, KXMultiPlotSplitterArea::Edge edge)
{
    return area->MovePlot(number, target, edge);
}

void ChannelWidget::SaveLayout(ApplicationSettings& settings) const
{
    area->SaveLayout(settings);
}

void ChannelWidget::LoadLayout(ApplicationSettings& settings)
{
    area->LoadLayout(settings);
}
