#include "maury_ucal.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDeadlineTimer>
#include <QIODevice>
#include <QSerialPortInfo>
#include <QtDebug>
#include <algorithm>
#include <cmath>

#include "preferences.h"

namespace
{
// A wait is cut into steps this long so that an abort request ends it quickly.
constexpr int kWaitStepMs = 50;

QString Tr(const char* text)
{
    return QCoreApplication::translate("MauryUCal", text);
}

bool Aborted(const UCalWait& wait)
{
    return wait.abort && wait.abort->load();
}

// A serial port that reports an error other than a timeout will not deliver anything more.
bool PortFailed(QIODevice& port)
{
    auto* serial = qobject_cast<QSerialPort*>(&port);
    return serial && serial->error() != QSerialPort::NoError &&
           serial->error() != QSerialPort::TimeoutError;
}

// Waits for more input, for at most wait.timeoutMs.
bool WaitForData(QIODevice& port, const UCalWait& wait)
{
    const QDeadlineTimer deadline(wait.timeoutMs);
    while (!Aborted(wait))
    {
        const int step = int(std::min<qint64>(kWaitStepMs, deadline.remainingTime()));
        if (port.waitForReadyRead(std::max(step, 0)))
        {
            return true;
        }
        if (deadline.hasExpired() || PortFailed(port))
        {
            return false;
        }
    }
    return false;
}

// Waits until the port's write buffer has gone out, for at most wait.timeoutMs.
bool WaitForWritten(QIODevice& port, const UCalWait& wait)
{
    const QDeadlineTimer deadline(wait.timeoutMs);
    while (port.bytesToWrite() > 0)
    {
        if (Aborted(wait) || deadline.hasExpired() || PortFailed(port))
        {
            return false;
        }
        const int step = int(std::min<qint64>(kWaitStepMs, deadline.remainingTime()));
        port.waitForBytesWritten(std::max(step, 0));
    }
    return true;
}

// Bytes of an earlier reply that came too late must not be taken for the next one, and a
// command left unsent by an aborted wait must not go out ahead of the next.
void DropStale(QIODevice& port)
{
    if (auto* serial = qobject_cast<QSerialPort*>(&port))
    {
        serial->clear(QSerialPort::AllDirections);
    }
    port.readAll();
}

bool WriteCommand(QIODevice& port, const QByteArray& command, const UCalWait& wait)
{
    DropStale(port);
    return port.write(command) == command.size() && WaitForWritten(port, wait);
}

// Reads one parsed block with the expected number of parameters.
bool ReadBlock(QIODevice& port, int index, int parameters, QVector<double>& freqs,
               QVector<CplxVector>& params, const UCalWait& wait)
{
    QByteArray bytes;
    return ReadCalBlock(port, index, bytes, wait) && ParseCalBlock(bytes, freqs, params) &&
           params.size() == parameters;
}

struct SetDescription
{
    int id;
    const char* description;
    CalClass cls;
    int uCalPort;
    bool reflectOnly;
};

const SetDescription kSets[kUCalSetCount] = {
    {1, QT_TRANSLATE_NOOP("MauryUCal", "Port 1 Short"), CalClassShort, 0, true},
    {2, QT_TRANSLATE_NOOP("MauryUCal", "Port 1 Open"), CalClassOpen, 0, true},
    {3, QT_TRANSLATE_NOOP("MauryUCal", "Port 1 Load"), CalClassLoad, 0, true},
    {4, QT_TRANSLATE_NOOP("MauryUCal", "Port 2 Short"), CalClassShort, 1, true},
    {5, QT_TRANSLATE_NOOP("MauryUCal", "Port 2 Open"), CalClassOpen, 1, true},
    {6, QT_TRANSLATE_NOOP("MauryUCal", "Port 2 Load"), CalClassLoad, 1, true},
    {7, QT_TRANSLATE_NOOP("MauryUCal", "Thru"), CalClassThru, 0, false}};
}  // namespace

// --- discovery ------------------------------------------------------------------------------

UCalPortInfo UCalPortInfo::FromSystem(const QSerialPortInfo& info)
{
    UCalPortInfo p;
    p.portName = info.portName();
    p.description = info.description();
    p.serialNumber = info.serialNumber();
    p.hasVendorIdentifier = info.hasVendorIdentifier();
    p.vendorIdentifier = info.vendorIdentifier();
    p.hasProductIdentifier = info.hasProductIdentifier();
    p.productIdentifier = info.productIdentifier();
    return p;
}

UCalPortInfo UCalPortInfo::Named(const QString& portName)
{
    UCalPortInfo p;
    p.portName = portName;
    return p;
}

QList<UCalPortInfo> MauryUCal::SystemPorts()
{
    QList<UCalPortInfo> ports;
    for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts())
    {
        ports.append(UCalPortInfo::FromSystem(info));
    }
    return ports;
}

QString MauryUCal::ExplicitPortName()
{
    const QString fromEnvironment = qEnvironmentVariable("VNA_UCAL_PORT").trimmed();
    return fromEnvironment.isEmpty() ? Preferences::Get().uCalPortName.trimmed() : fromEnvironment;
}

QList<UCalPortInfo> MauryUCal::FindDevices()
{
    return FindDevices(SystemPorts(), ExplicitPortName());
}

QList<UCalPortInfo> MauryUCal::FindDevices(const QList<UCalPortInfo>& available,
                                           const QString& explicitPort)
{
    QList<UCalPortInfo> found;
    if (!explicitPort.isEmpty())
    {
        found.append(UCalPortInfo::Named(explicitPort));
    }
    for (const UCalPortInfo& p : available)
    {
        if (p.hasVendorIdentifier && p.vendorIdentifier == kVendorId && p.hasProductIdentifier &&
            p.productIdentifier == kProductId && p.portName != explicitPort)
        {
            found.append(p);
        }
    }
    return found;
}

// --- protocol -------------------------------------------------------------------------------

bool ReadReplyLine(QIODevice& port, QByteArray& line, const UCalWait& wait)
{
    line.clear();
    for (;;)
    {
        line += port.readAll();
        if (line.contains('\n'))
        {
            return true;
        }
        if (line.size() > kUCalMaxReplyLine || !WaitForData(port, wait))
        {
            return false;
        }
    }
}

bool UCalQuery(QIODevice& port, const QByteArray& command, QByteArray& reply, const UCalWait& wait)
{
    reply.clear();
    return WriteCommand(port, command, wait) && ReadReplyLine(port, reply, wait);
}

bool UCalSendCommand(QIODevice& port, const QByteArray& command, const UCalWait& wait)
{
    QByteArray reply;
    UCalQuery(port, command, reply, wait);
    qDebug() << "Command:" << command.trimmed();
    qDebug() << "Response:" << reply.trimmed();
    return reply.trimmed() == "A";
}

bool ParseUCalIdentity(const QByteArray& reply, UCalIdentity& identity)
{
    const QList<QByteArray> fields = reply.split(',');
    if (fields.size() < 4)
    {
        return false;
    }
    identity.manufacturer = QString::fromLatin1(fields[0].trimmed());
    identity.model = QString::fromLatin1(fields[1].trimmed());
    identity.serialNumber = QString::fromLatin1(fields[2].trimmed());
    identity.firmware = QString::fromLatin1(fields[3].trimmed());
    return true;
}

bool UCalIdentify(QIODevice& port, UCalIdentity& identity, const UCalWait& wait)
{
    QByteArray reply;
    return UCalQuery(port, "I?\n", reply, wait) && ParseUCalIdentity(reply, identity);
}

double UCalReadTemp(QIODevice& port, const UCalWait& wait)
{
    QByteArray reply;
    bool ok = false;
    const double t = UCalQuery(port, "T?\n", reply, wait) ? reply.trimmed().toDouble(&ok) : 0.0;
    return ok && std::isfinite(t) ? t : 0.0;
}

bool UCalReadTempInRange(QIODevice& port, const UCalWait& wait)
{
    QByteArray reply;
    return UCalQuery(port, "N?\n", reply, wait) && reply.trimmed() == "1";
}

QByteArray UCalReadSwitchState(QIODevice& port, const UCalWait& wait)
{
    QByteArray reply;
    return UCalQuery(port, "S?\n", reply, wait) ? reply : QByteArray();
}

QList<QByteArray> UCalStateCommands(int state)
{
    switch (state)
    {
        case MauryUCal::Short:
            return {"S10\n", "S01\n"};
        case MauryUCal::Open:
            return {"S20\n", "S02\n"};
        case MauryUCal::Load:
            return {"S30\n", "S03\n"};
        case MauryUCal::Thru:
            return {"S4\n"};
    }
    return {};
}

QByteArray UCalStateText(int state)
{
    switch (state)
    {
        case MauryUCal::Short:
            return "11\n";
        case MauryUCal::Open:
            return "22\n";
        case MauryUCal::Load:
            return "33\n";
        case MauryUCal::Thru:
            return "4\n";
    }
    return QByteArray();
}

bool UCalSwitch(QIODevice& port, int state, const UCalWait& wait)
{
    const QList<QByteArray> commands = UCalStateCommands(state);
    for (const QByteArray& command : commands)
    {
        UCalSendCommand(port, command, wait);  // a refusal does not stop the sequence
    }
    return !commands.isEmpty() && UCalReadSwitchState(port, wait) == UCalStateText(state);
}

// --- blocks ---------------------------------------------------------------------------------

bool ReadCalBlock(QIODevice& port, int index, QByteArray& out, const UCalWait& wait)
{
    QByteArray line;
    if (!WriteCommand(port, "G" + QByteArray::number(index) + "\n", wait) ||
        !ReadReplyLine(port, line, wait))
    {
        return false;
    }
    line = line.trimmed();
    if (!line.startsWith('R'))
    {
        return false;
    }
    bool ok = false;
    const int count = line.mid(1).toInt(&ok, 10);
    if (!ok || count <= 0 || count > kUCalMaxBlockBytes)
    {
        return false;
    }
    out.clear();
    while (out.size() < count)
    {
        if (!WaitForData(port, wait))
        {
            return false;
        }
        out += port.readAll();
    }
    return true;
}

bool ParseCalBlock(const QByteArray& bytes, QVector<double>& freqs, QVector<CplxVector>& params)
{
    QDataStream in(bytes);
    in.setByteOrder(QDataStream::LittleEndian);
    in.setFloatingPointPrecision(QDataStream::DoublePrecision);
    qint32 n = 0;
    in >> n;
    // Sizes are checked against what the bytes can hold before anything is allocated.
    if (in.status() != QDataStream::Ok || n < 1 || qint64(n) * 8 > bytes.size())
    {
        return false;
    }
    freqs.resize(n);
    for (double& f : freqs)
    {
        in >> f;
    }
    qint32 p = 0;
    in >> p;
    if (in.status() != QDataStream::Ok || (p != 2 && p != 4) || qint64(p) * n * 16 > bytes.size())
    {
        return false;
    }
    params.resize(p);
    for (CplxVector& v : params)
    {
        v.resize(n);
        for (std::complex<double>& c : v)
        {
            double re = 0.0, im = 0.0;
            in >> re >> im;
            c = {re, im};
        }
    }
    return in.status() == QDataStream::Ok;
}

bool ReadFactoryDataSets(QIODevice& port, UCalDataSets& sets, const UCalWait& wait)
{
    QVector<double> freqs;
    QVector<CplxVector> params;
    for (int b = 0; b < 3; ++b)
    {
        if (!ReadBlock(port, b, 2, freqs, params, wait))
        {
            return false;
        }
        for (int k = 0; k < 2; ++k)
        {
            sets.freqs[b + 3 * k] = freqs;
            sets.data[b + 3 * k].Resize(freqs.size());
            sets.data[b + 3 * k].S11 = params[k];
        }
    }
    if (!ReadBlock(port, 3, 4, freqs, params, wait))
    {
        return false;
    }
    sets.freqs[6] = freqs;
    SParameters& thru = sets.data[6];
    thru.S11 = params[0];
    thru.S21 = params[1];
    thru.S12 = params[2];
    thru.S22 = params[3];
    return true;
}

// --- the model text and the kit -------------------------------------------------------------

VNAConnector UCalConnectorFromModel(const QString& model)
{
    const QStringList fields = model.split(QLatin1Char('-'));
    if (fields.size() < 2)
    {
        return ConnOther;
    }
    const QString& c = fields[1];
    if (c == QLatin1String("35"))
    {
        return Conn3_5mm;
    }
    if (c == QLatin1String("7"))
    {
        return ConnAPC;
    }
    if (c == QLatin1String("N"))
    {
        return ConnN;
    }
    if (c == QLatin1String("292"))
    {
        return Conn2_92mm;
    }
    return ConnOther;
}

VNAGender UCalGenderFromModel(const QString& model, int port)
{
    const QStringList fields = model.split(QLatin1Char('-'));
    if (port < 0 || fields.size() < 3 || port >= fields[2].size())
    {
        return VNAMale;
    }
    return fields[2][port] == QLatin1Char('M') ? VNAMale : VNAFemale;
}

VNACalKit BuildUCalKit(const UCalIdentity& identity, const UCalDataSets& sets)
{
    VNACalKit kit;
    kit.CalKitName = identity.model;
    kit.Description = QStringLiteral("%1 %2 SN:%3")
                          .arg(identity.manufacturer, identity.model, identity.serialNumber);
    kit.Connector = UCalConnectorFromModel(identity.model);
    kit.IsUCal = true;
    for (int i = 0; i < kUCalSetCount; ++i)
    {
        const QVector<double>& f = sets.freqs[i];
        if (f.isEmpty())
        {
            continue;
        }
        const SetDescription& d = kSets[i];
        CalKitStandardInfo s;
        s.ID = d.id;
        s.Type = VNAStdData;
        s.Gender = UCalGenderFromModel(identity.model, d.uCalPort);
        s.Description = Tr(d.description);
        s.FMin = 0.0;
        s.FMax = f.last();
        s.Z0 = 50.0;
        s.DataFreqs = f;
        s.DataS11 = sets.data[i].S11;
        s.DataS21 = sets.data[i].S21;
        s.DataS12 = sets.data[i].S12;
        s.DataS22 = sets.data[i].S22;
        s.DataReflectOnly = d.reflectOnly;
        s.UCalPort = d.uCalPort;
        kit.Standards.append(s);
        kit.PutStandardInClass(s.ID, d.cls);
    }
    return kit;
}

VNACalKit MauryExtractFactoryCalKit(const MauryUCal& module)
{
    VNACalKit kit = BuildUCalKit(module.Identity(), module.DataSets());
    kit.IsFactoryUCal = true;
    return kit;
}

// --- MauryUCal ------------------------------------------------------------------------------

MauryUCal::MauryUCal(const UCalPortInfo& port, QObject* parent) : QSerialPort(parent), info(port) {}

MauryUCal::MauryUCal(const QSerialPortInfo& port, QObject* parent)
    : MauryUCal(UCalPortInfo::FromSystem(port), parent)
{
}

UCalWait MauryUCal::Wait() const
{
    UCalWait w;
    w.timeoutMs = timeoutMs;
    w.abort = &abortRequested;
    return w;
}

bool MauryUCal::Connect()
{
    if (connected)
    {
        return true;
    }
    setPortName(info.portName);
    setDataBits(QSerialPort::Data8);
    setParity(QSerialPort::NoParity);
    setStopBits(QSerialPort::OneStop);
    setFlowControl(QSerialPort::NoFlowControl);
    if (!open(QIODevice::ReadWrite))
    {
        return false;
    }
    UCalIdentity id;
    if (!UCalIdentify(*this, id, Wait()))
    {
        close();
        return false;
    }
    identity = id;
    // The module is left in Short.
    if (!UCalSwitch(*this, Short, Wait()))
    {
        close();
        return false;
    }
    state = Short;
    connected = true;
    return true;
}

void MauryUCal::Disconnect()
{
    close();
    connected = false;
}

bool MauryUCal::SetState(State s)
{
    if (!connected || !UCalSwitch(*this, s, Wait()))
    {
        return false;
    }
    state = s;
    return true;
}

QByteArray MauryUCal::ReadSwitchState()
{
    return isOpen() ? UCalReadSwitchState(*this, Wait()) : QByteArray();
}

double MauryUCal::GetTemp()
{
    return connected ? UCalReadTemp(*this, Wait()) : 0.0;
}

bool MauryUCal::TempInRange()
{
    return connected && UCalReadTempInRange(*this, Wait());
}

bool MauryUCal::ReadFactoryCalibration()
{
    if (!connected)
    {
        return false;
    }
    if (factoryRead)
    {
        return true;
    }
    UCalDataSets read;
    if (!ReadFactoryDataSets(*this, read, Wait()))
    {
        return false;
    }
    sets = read;
    factoryRead = true;
    return true;
}

const QVector<double>& MauryUCal::GetCalFreqs(int index) const
{
    static const QVector<double> none;
    return index >= 0 && index < kUCalSetCount ? sets.freqs[index] : none;
}

const SParameters& MauryUCal::GetCalData(int index) const
{
    static const SParameters none;
    return index >= 0 && index < kUCalSetCount ? sets.data[index] : none;
}

QString MauryUCal::GetDisplayName() const
{
    return QStringLiteral("%1 - %2 SN:%3")
        .arg(identity.manufacturer, identity.model, identity.serialNumber);
}
