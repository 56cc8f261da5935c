// The Maury Microwave uCal electronic calibration module on its USB serial port: discovery, the
// line protocol (identity, temperature, switch states), the factory characterisation blocks, and
// the kit they make.
//
// Every operation here waits on the port (up to 2 s per wait, several seconds for the factory
// blocks), so none of it may run on the GUI thread: the window reaches the module through
// MauryUCalSession (maury_ucal_session.h), which keeps it on a thread of its own. Waits run in
// short steps that notice RequestAbort(), so closing a session ends a read within one step.
#pragma once

#include <QByteArray>
#include <QList>
#include <QSerialPort>
#include <QString>
#include <QVector>
#include <atomic>

#include "network_parameters.h"
#include "vna_calkit.h"

class QIODevice;
class QSerialPortInfo;

// One serial port as discovery sees it: what QSerialPortInfo reports, or only a name for a port
// given explicitly. A pseudo-terminal has no USB identity and its QSerialPortInfo is null, so
// the name is kept apart from QSerialPortInfo and the port is opened by name.
struct UCalPortInfo
{
    static UCalPortInfo FromSystem(const QSerialPortInfo& info);
    static UCalPortInfo Named(const QString& portName);

    QString portName;  // what QSerialPort::setPortName takes: "ttyACM0" or "/dev/pts/4"
    QString description;
    QString serialNumber;
    bool hasVendorIdentifier = false;
    quint16 vendorIdentifier = 0;
    bool hasProductIdentifier = false;
    quint16 productIdentifier = 0;
};

// What the module says about itself ("I?").
struct UCalIdentity
{
    QString manufacturer;
    QString model;
    QString serialNumber;
    QString firmware;
};

// The seven characterisation sets: port A short, open, load; port B short, open, load; thru.
// Reflection sets fill S11 only (the other three sized and zero); the thru fills all four, with
// port A as its port 1.
constexpr int kUCalSetCount = 7;
struct UCalDataSets
{
    QVector<double> freqs[kUCalSetCount];
    SParameters data[kUCalSetCount];
};

// How long one wait may last, and a flag that ends every wait at once when set.
struct UCalWait
{
    int timeoutMs = 2000;
    const std::atomic<bool>* abort = nullptr;
};

// Longest reply line taken before the reply counts as garbled; a module that streams without a
// newline would otherwise hold a reader forever.
constexpr int kUCalMaxReplyLine = 4096;
// Largest block accepted: a thru block of 100000 points is 6.4 MB.
constexpr int kUCalMaxBlockBytes = 16 * 1024 * 1024;

// --- the protocol, on any QIODevice (the module's port, or a recorded exchange in tests) --------

// Collects bytes until a newline has arrived. Everything read up to then is the line, bytes
// after the newline included. False on a timeout, an abort or a line past kUCalMaxReplyLine.
bool ReadReplyLine(QIODevice& port, QByteArray& line, const UCalWait& wait = UCalWait());
// Drops stale input, writes the command, waits for it to leave and reads the reply line.
bool UCalQuery(QIODevice& port, const QByteArray& command, QByteArray& reply,
               const UCalWait& wait = UCalWait());
// True when the module acknowledges the command with "A".
bool UCalSendCommand(QIODevice& port, const QByteArray& command, const UCalWait& wait = UCalWait());
// "I?": the first four comma-separated fields; false with fewer.
bool UCalIdentify(QIODevice& port, UCalIdentity& identity, const UCalWait& wait = UCalWait());
bool ParseUCalIdentity(const QByteArray& reply, UCalIdentity& identity);
// "T?" in degrees Celsius; 0.0 when no number comes back.
double UCalReadTemp(QIODevice& port, const UCalWait& wait = UCalWait());
// "N?": true exactly for the reply "1".
bool UCalReadTempInRange(QIODevice& port, const UCalWait& wait = UCalWait());
// "S?": the reply line unchanged, newline included; empty on failure.
QByteArray UCalReadSwitchState(QIODevice& port, const UCalWait& wait = UCalWait());
// The commands that put the module in a state (MauryUCal::State), and the text "S?" then gives.
QList<QByteArray> UCalStateCommands(int state);
QByteArray UCalStateText(int state);
// Sends the state's commands (a refused one does not stop the others) and reads the switches
// back: true when they read exactly as the state's text.
bool UCalSwitch(QIODevice& port, int state, const UCalWait& wait = UCalWait());

// "G<index>": the byte count line "R<count>", then the binary block into out. Bytes that come in
// the same read as the line's newline stay with the line and are not part of the block.
bool ReadCalBlock(QIODevice& port, int index, QByteArray& out, const UCalWait& wait = UCalWait());
// Little-endian: int32 n >= 1, n doubles (Hz), int32 p (2 or 4), p lists of n (re, im) doubles.
bool ParseCalBlock(const QByteArray& bytes, QVector<double>& freqs, QVector<CplxVector>& params);
// Blocks 0 to 2 (two reflection parameters each, port A then port B) and block 3 (the thru).
bool ReadFactoryDataSets(QIODevice& port, UCalDataSets& sets, const UCalWait& wait = UCalWait());

// The model text's fields, "-" separated: the second names the connector, the third the
// gender of each port by position ("M" male, any other letter female).
VNAConnector UCalConnectorFromModel(const QString& model);
VNAGender UCalGenderFromModel(const QString& model, int port);

// The data based kit of the seven sets: one standard per non-empty set, with the set's ID,
// description, class and module port; named and described after the module.
VNACalKit BuildUCalKit(const UCalIdentity& identity, const UCalDataSets& sets);

class MauryUCal : public QSerialPort
{
    Q_OBJECT
public:
    enum State
    {
        Short = 0,
        Open = 1,
        Load = 2,
        Thru = 3
    };
    static constexpr quint16 kVendorId = 9786;
    static constexpr quint16 kProductId = 42;
    static constexpr int kTimeoutMs = 2000;

    // The module's ports among the system's, in their order; a port named by ExplicitPortName()
    // comes first.
    static QList<UCalPortInfo> FindDevices();
    static QList<UCalPortInfo> FindDevices(const QList<UCalPortInfo>& available,
                                           const QString& explicitPort);
    static QList<UCalPortInfo> SystemPorts();
    // VNA_UCAL_PORT from the environment, else the preference UCalPortName: how a module on a
    // port without USB identity (the emulator's pseudo-terminal) is found.
    static QString ExplicitPortName();

    explicit MauryUCal(const UCalPortInfo& info, QObject* parent = nullptr);
    // A null info (a pseudo-terminal) has no name: use the UCalPortInfo form for such a port.
    explicit MauryUCal(const QSerialPortInfo& info, QObject* parent = nullptr);

    bool Connect();
    void Disconnect();
    bool IsConnected() const { return connected; }

    bool SetState(State state);
    State GetState() const { return state; }
    QByteArray ReadSwitchState();

    double GetTemp();
    bool TempInRange();

    bool ReadFactoryCalibration();
    bool HasReadFactoryCalibration() const { return factoryRead; }
    const QVector<double>& GetCalFreqs(int index) const;
    const SParameters& GetCalData(int index) const;
    const UCalDataSets& DataSets() const { return sets; }

    const UCalPortInfo& PortInfo() const { return info; }
    const UCalIdentity& Identity() const { return identity; }
    QString Manufacturer() const { return identity.manufacturer; }
    QString Model() const { return identity.model; }
    QString SerialNumber() const { return identity.serialNumber; }
    QString FirmwareVersion() const { return identity.firmware; }
    QString GetDisplayName() const;
    VNAConnector GetConnectorType() const { return UCalConnectorFromModel(identity.model); }
    VNAGender GetPortGender(int port) const { return UCalGenderFromModel(identity.model, port); }

    // Thread-safe: makes the wait in progress and every later one fail at once, until cleared.
    void RequestAbort() { abortRequested.store(true); }
    void ClearAbort() { abortRequested.store(false); }
    // The length of one wait; kTimeoutMs unless a caller needs a shorter one.
    void SetTimeout(int ms) { timeoutMs = ms; }

private:
    UCalWait Wait() const;

    UCalPortInfo info;
    UCalIdentity identity;
    bool connected = false;
    bool factoryRead = false;
    State state = Short;
    UCalDataSets sets;
    int timeoutMs = kTimeoutMs;
    std::atomic<bool> abortRequested{false};
};

// The factory kit of a module whose factory characterisation has been read.
VNACalKit MauryExtractFactoryCalKit(const MauryUCal& module);
