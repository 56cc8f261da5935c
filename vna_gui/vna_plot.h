// A plot of traces. For now a plain graticule with the traces' LogMag curves.
#pragma once

#include <QWidget>

class VNAModel;

class VNAPlot : public QWidget
{
    Q_OBJECT
public:
    VNAPlot(VNAModel& model, int number, QWidget* parent = nullptr);

    int Number() const { return number; }
    QSize sizeHint() const override { return QSize(640, 400); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    VNAModel& model;
    const int number;
};
