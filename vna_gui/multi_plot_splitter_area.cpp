#include "multi_plot_splitter_area.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>

#include "application_settings.h"

ChannelWidget::ChannelWidget(QWidget* parent) : QWidget(parent)
{
    grid = new QGridLayout(this);
    grid->setContentsMargins(2, 2, 2, 2);
    grid->setSpacing(2);
}

void ChannelWidget::AddPlot(QWidget* plot, int number)
{
    auto* frame = new QWidget(this);
    auto* header = new QHBoxLayout;
    header->setContentsMargins(4, 0, 0, 0);
    header->addWidget(new QLabel(tr("Plot %1").arg(number + 1), frame));
    header->addStretch();
    auto* close = new QToolButton(frame);
    close->setText(QStringLiteral("\u2715"));
    close->setToolTip(tr("Close Plot"));
    close->setAutoRaise(true);
    header->addWidget(close);
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(header);
    plot->setParent(frame);
    layout->addWidget(plot, 1);
    frames.insert(number, frame);
    connect(close, &QToolButton::clicked, this, [this, number] { emit plotClosing(number); });
    Relayout();
    frame->show();
}

void ChannelWidget::RemovePlot(int number)
{
    QWidget* frame = frames.take(number);
    if (frame)
    {
        grid->removeWidget(frame);
        delete frame;
        Relayout();
    }
}

void ChannelWidget::Clear()
{
    for (QWidget* frame : frames)
    {
        grid->removeWidget(frame);
        delete frame;
    }
    frames.clear();
}

void ChannelWidget::Relayout()
{
    for (QWidget* frame : frames)
    {
        grid->removeWidget(frame);
    }
    const int n = frames.size();
    const int columns = std::max(1, int(std::ceil(std::sqrt(double(n)))));
    int i = 0;
    for (QWidget* frame : frames)
    {
        grid->addWidget(frame, i / columns, i % columns);
        ++i;
    }
}

void ChannelWidget::SaveLayout(ApplicationSettings& settings) const
{
    settings.SaveList(QStringLiteral("PlotLayout"), frames.keys());
}

void ChannelWidget::LoadLayout(ApplicationSettings&)
{
    // The grid places the plots in slot order, which the plots added already give.
}
