// The plot area. For now a grid that shows every plot, each with a close button above it.
#pragma once

#include <QMap>
#include <QWidget>

class ApplicationSettings;
class QGridLayout;

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
    // The arrangement of the plots, in the instrument state after the plot slots; loading
    // follows the plots already added.
    void SaveLayout(ApplicationSettings& settings) const;
    void LoadLayout(ApplicationSettings& settings);

signals:
    void plotClosing(int number);

private:
    void Relayout();

    QGridLayout* grid;
    QMap<int, QWidget*> frames;  // plot slot -> frame holding the plot
};
