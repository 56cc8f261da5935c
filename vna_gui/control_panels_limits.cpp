// Control panels: the Limits panel.
#include <QCheckBox>
#include <QFormLayout>
#include <QMutexLocker>
#include <QVBoxLayout>

#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"

LimitLinePanel::LimitLinePanel(MainWindow* window) : PanelBase(window)
{
    enabled = new QCheckBox(this);
    limitShown = new QCheckBox(this);
    sound = new QCheckBox(this);
    auto* define = new KXPushButton(tr("Define Limits"), this);
    rippleEnabled = new QCheckBox(this);
    rippleShown = new QCheckBox(this);
    auto* defineRipple = new KXPushButton(tr("Define Ripple Limits"), this);

    QFormLayout* f = Form();
    f->addRow(tr("Enabled"), enabled);
    f->addRow(tr("Show"), limitShown);
    f->addRow(tr("Sound"), sound);
    f->addRow(define);
    f->addRow(tr("Ripple Enabled"), rippleEnabled);
    f->addRow(tr("Ripple Show"), rippleShown);
    f->addRow(defineRipple);

    connect(enabled, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::limitTest));
    connect(limitShown, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::limitShow));
    connect(sound, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::limitSound));
    connect(define, &QPushButton::clicked, w, &MainWindow::limitDefine);
    connect(rippleEnabled, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::rippleLimitTest));
    connect(rippleShown, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::rippleLimitShow));
    connect(defineRipple, &QPushButton::clicked, w, &MainWindow::rippleLimitDefine);
}

void LimitLinePanel::UpdateControls()
{
    VNAModel& m = w->Model();
    QMutexLocker lock(&m.traceLock);
    const VNATrace* t = m.ActiveTrace();
    SetAvailable(this, t != nullptr, NoTraceReason());
    if (!t)
    {
        return;
    }
    SetChecked(enabled, t->limitTest);
    SetChecked(limitShown, t->limitShow);
    SetChecked(sound, t->limitSound);
    SetChecked(rippleEnabled, t->rippleTest);
    SetChecked(rippleShown, t->rippleShow);
}
