// The remote command bodies: one small function per command, grouped by family in
// mainwindow_scpi_<family>.cpp and reached from the command's id. A body reads its parameters,
// calls the same MainWindow operation a panel calls, and submits its reply.
#pragma once

#include <QString>
#include <utility>
#include <vector>

#include "scpi_def.h"
#include "scpi_status.h"

class MainWindow;
class VNAModel;
class VNATrace;

// What a body runs with: the window whose operations it calls, the model it reads, the parsed
// command, and the suffix rules all bodies share. Each rule queues its error and returns false
// when the suffix is missing or names nothing.
class ScpiContext
{
public:
    ScpiContext(MainWindow& window, Scpi& cmd);

    // Channel index from the first suffix; a suffix not written means channel 1.
    bool Channel(int& channel);
    // Trace index from the measure suffix of the channel. unknownText names a measure that is
    // not defined ("Invalid measurement number", or "Invalid measure suffix" in some families).
    bool Trace(int channel, int& trace, const char* unknownText = scpiStrInvalidMeasNumber);
    // Both of the above, in suffix order.
    bool ChannelTrace(int& channel, int& trace, const char* unknownText = scpiStrInvalidMeasNumber);
    // Marker index 0 to 15 from the next suffix; not written means marker 1.
    bool Marker(int& marker);
    // Plot index from the window suffix, which must be written.
    bool Window(int& plot);

    MainWindow& window;
    VNAModel& model;
    Scpi& cmd;
};

using ScpiBody = void (*)(ScpiContext&);

struct ScpiBodyRow
{
    int id;
    ScpiBody body;
};

// A family of commands: the id ranges it covers, the feature its rows without a body wait for,
// and the bodies built so far.
struct ScpiFamily
{
    const char* name;
    const char* waitsFor;
    std::vector<std::pair<int, int>> ids;  // inclusive ranges
    std::vector<ScpiBodyRow> bodies;
};

const ScpiFamily& scpiSystemFamily();
const ScpiFamily& scpiStimulusFamily();
const ScpiFamily& scpiDisplayFamily();
const ScpiFamily& scpiMeasurementFamily();
const ScpiFamily& scpiMarkerFamily();
const ScpiFamily& scpiLimitFamily();
const ScpiFamily& scpiTimeDomainFamily();
const ScpiFamily& scpiCorrectionFamily();
const ScpiFamily& scpiFixtureFamily();
const ScpiFamily& scpiPresetFamily();
// Data format and the status model.
const ScpiFamily& scpiStatusFamily();

// The body of a command id, or null while its feature is not built.
ScpiBody scpiBody(int id);
// The status column of the command reference: "built", or "not yet" and the feature waited for.
QString scpiBodyStatus(int id);

class QTcpSocket;

// One remote client: its socket, its own interpreter (line buffer, replies, data format), its
// status registers and what still waits for the sweeps to end. Everything of a client goes with it,
// so a new client never sees another's state.
struct ScpiConnection
{
    explicit ScpiConnection(QTcpSocket* s) : socket(s) {}

    QTcpSocket* socket;  // owned; deleted only when no command of it can be on the stack
    Scpi scpi;
    ScpiStatus status;
    int pendingOpc = 0;
    // An *OPC waits for the pending sweeps to end.
    bool opcArmed = false;
    bool closed = false;
};
