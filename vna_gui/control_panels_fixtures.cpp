// Control panels: the Fixtures panel.
#include <QCheckBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"

namespace
{
using EnableSlot = void (MainWindow::*)(bool);
using PortSlot = void (MainWindow::*)();

// The slots behind one fixture object's controls, and the names its widgets are found by.
struct FixtureSlots
{
    const char* title;
    const char* name;
    FixtureKind kind;
    EnableSlot enable;
    PortSlot load[2];
    PortSlot clear[2];
};

const FixtureSlots kFixtures[2] = {
    {QT_TRANSLATE_NOOP("FixtureControlPanel", "De-embedding"),
     "deembedding",
     FixtureKind::Deembedding,
     &MainWindow::calDeembedEnabled,
     {&MainWindow::calDeembedLoadPort1, &MainWindow::calDeembedLoadPort2},
     {&MainWindow::calDeembedClearPort1, &MainWindow::calDeembedClearPort2}},
    {QT_TRANSLATE_NOOP("FixtureControlPanel", "Embedding"),
     "embedding",
     FixtureKind::Embedding,
     &MainWindow::calEmbedEnabled,
     {&MainWindow::calEmbedLoadPort1, &MainWindow::calEmbedLoadPort2},
     {&MainWindow::calEmbedClearPort1, &MainWindow::calEmbedClearPort2}},
};

// A warning colour that reads on the light and the dark theme alike.
const char* const kWarningStyle = "color: #e07000;";
}  // namespace

FixtureControlPanel::FixtureControlPanel(MainWindow* window) : PanelBase(window)
{
    portExtension = new QCheckBox(tr("Port Extension"), this);
    portExtension->setObjectName(QStringLiteral("portExtension"));
    auto* configure = new KXPushButton(tr("Config Port Extension"), this);
    configure->setObjectName(QStringLiteral("configPortExtension"));
    Column()->addWidget(portExtension);
    Column()->addWidget(configure);
    connect(portExtension, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::calConfigurePortExtensionEnabled));
    connect(configure, &QPushButton::clicked, w, &MainWindow::calConfigurePortExtension);
    BuildFixture(0);
    BuildFixture(1);
    Column()->addStretch();
}

void FixtureControlPanel::BuildFixture(int kind)
{
    const FixtureSlots& s = kFixtures[kind];
    const QString name = QLatin1String(s.name);
    FixtureControls& c = fixtures[kind];
    c.enabled = new QCheckBox(tr(s.title), this);
    c.enabled->setObjectName(name);
    Column()->addSpacing(8);
    Column()->addWidget(c.enabled);
    connect(c.enabled, &QCheckBox::toggled, w, s.enable);

    auto* grid = new QGridLayout;
    for (int p = 0; p < 2; ++p)
    {
        const QString port = QStringLiteral("Port%1").arg(p + 1);
        c.file[p] = new QLabel(this);
        c.file[p]->setObjectName(name + port + QStringLiteral("File"));
        auto* load = new KXPushButton(tr("Load Port %1 S2P").arg(p + 1), this);
        load->setObjectName(name + QStringLiteral("Load") + port);
        auto* clear = new KXPushButton(tr("Clear Port %1").arg(p + 1), this);
        clear->setObjectName(name + QStringLiteral("Clear") + port);
        grid->addWidget(c.file[p], 2 * p, 0, 1, 2);
        grid->addWidget(load, 2 * p + 1, 0);
        grid->addWidget(clear, 2 * p + 1, 1);
        connect(load, &QPushButton::clicked, w, s.load[p]);
        connect(clear, &QPushButton::clicked, w, s.clear[p]);
    }
    Column()->addLayout(grid);

    c.warning = new QLabel(this);
    c.warning->setObjectName(name + QStringLiteral("Warning"));
    c.warning->setWordWrap(true);
    c.warning->setStyleSheet(QLatin1String(kWarningStyle));
    c.warning->hide();
    Column()->addWidget(c.warning);
}

void FixtureControlPanel::UpdateControls()
{
    const VNAModel& m = w->Model();
    const int channel = m.activeChannelIndex;
    setEnabled(m.IsValidChannelIndex(channel));
    if (!isEnabled())
    {
        return;
    }
    SetChecked(portExtension, m.GetPortExtension(channel).enabled);
    ShowFixture(0, channel);
    ShowFixture(1, channel);
}

void FixtureControlPanel::ShowFixture(int kind, int channel)
{
    const VNAModel& m = w->Model();
    const FixtureKind k = kFixtures[kind].kind;
    const FixtureControls& c = fixtures[kind];
    SetChecked(c.enabled, m.FixtureEnabled(channel, k));
    for (int p = 0; p < 2; ++p)
    {
        const QString path = m.FixturePortFileName(channel, k, p);
        const bool loaded = m.FixturePortLoaded(channel, k, p);
        c.file[p]->setText(loaded ? QFileInfo(path).fileName() : tr("No File Loaded"));
        c.file[p]->setToolTip(loaded ? path : QString());
    }
    const QString warning = m.FixtureWarning(channel, k);
    c.warning->setText(warning);
    c.warning->setVisible(!warning.isEmpty());
}
