// The uCal module's protocol against byte exchanges recorded from the emulator
// (tests/data/ucal/, tools/record_ucal_session), the block format against an encoder of the
// test's own, the model text, discovery by USB identity on port lists the test supplies, and the
// kit made of the characterisation sets.
#include <QtTest>
#include <cstring>
#include <limits>

#include "maury_ucal.h"
#include "preferences.h"
#include "test_fixtures.h"
#include "ucal_fixtures.h"

using cplx = std::complex<double>;

namespace
{
// The emulator's identity and temperature in the recordings (its defaults, --temp 24.6).
const char kModel[] = "MT982B01-35-MF";
constexpr double kRecordedTemp = 24.6;

QVector<testfx::UCalExchange> Session(const QString& name)
{
    QVector<testfx::UCalExchange> exchanges;
    QString error;
    const QString path = qEnvironmentVariable("VNA_TEST_DATA") + "/ucal/" + name + ".session";
    if (!testfx::LoadUCalSession(path, exchanges, error))
    {
        qWarning("%s", qPrintable(error));
    }
    return exchanges;
}

// Counts taken from the lists themselves.
constexpr qint32 kOwn = std::numeric_limits<qint32>::min();

// A block in the wire format, written independently of the parser; n and p replace the counts.
QByteArray Encode(const QVector<double>& freqs, const QVector<CplxVector>& params, qint32 n = kOwn,
                  qint32 p = kOwn)
{
    QByteArray out;
    auto put = [&out](const void* v, int size)
    {
        // The wire is little endian, as is every machine this runs on.
        out.append(static_cast<const char*>(v), size);
    };
    const qint32 count = n == kOwn ? freqs.size() : n;
    const qint32 lists = p == kOwn ? params.size() : p;
    put(&count, 4);
    for (double f : freqs)
    {
        put(&f, 8);
    }
    put(&lists, 4);
    for (const CplxVector& v : params)
    {
        for (const cplx& c : v)
        {
            const double re = c.real(), im = c.imag();
            put(&re, 8);
            put(&im, 8);
        }
    }
    return out;
}

// The block's values, read with memcpy rather than a stream.
bool Decode(const QByteArray& b, QVector<double>& freqs, QVector<CplxVector>& params)
{
    const char* d = b.constData();
    qint32 n = 0, p = 0;
    if (b.size() < 8)
    {
        return false;
    }
    std::memcpy(&n, d, 4);
    if (n < 1 || b.size() < 8 + 8 * n)
    {
        return false;
    }
    freqs.resize(n);
    std::memcpy(freqs.data(), d + 4, size_t(8 * n));
    std::memcpy(&p, d + 4 + 8 * n, 4);
    if (b.size() < 8 + 8 * n + 16 * n * p)
    {
        return false;
    }
    params = QVector<CplxVector>(p, CplxVector(n));
    for (int k = 0; k < p; ++k)
    {
        std::memcpy(static_cast<void*>(params[k].data()), d + 8 + 8 * n + 16 * n * k,
                    size_t(16 * n));
    }
    return true;
}

// The bytes of block k as the recording received them, after its "R" line.
QByteArray RecordedBlock(const QVector<testfx::UCalExchange>& session, const QByteArray& command)
{
    for (const testfx::UCalExchange& e : session)
    {
        if (e.sent == command)
        {
            const QByteArray all = e.received.join();
            return all.mid(all.indexOf('\n') + 1);
        }
    }
    return QByteArray();
}

UCalPortInfo Usb(const QString& name, quint16 vid, quint16 pid, bool hasIds = true)
{
    UCalPortInfo p;
    p.portName = name;
    p.hasVendorIdentifier = p.hasProductIdentifier = hasIds;
    p.vendorIdentifier = vid;
    p.productIdentifier = pid;
    return p;
}
}  // namespace

class TestUCalProtocol : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    }
    void normalSessionReplays_data();
    void normalSessionReplays();
    void faultSessionsFail();
    void blockFormat();
    void blockHeaders();
    void modelText();
    void discoveryByIdentity();
    void kitFromSets();
};

void TestUCalProtocol::normalSessionReplays_data()
{
    QTest::addColumn<int>("piece");
    QTest::newRow("as recorded") << 0;
    QTest::newRow("byte by byte") << 1;
    QTest::newRow("in 7 byte pieces") << 7;
}

// Everything the driver does on connecting, switching, reading the temperature and reading the
// factory blocks, on what the emulator really sent; cut into small pieces the reads must give
// the same.
void TestUCalProtocol::normalSessionReplays()
{
    QFETCH(int, piece);
    const auto session = Session(QStringLiteral("normal"));
    QVERIFY(!session.isEmpty());
    testfx::UCalReplayPort port(session, piece);
    const UCalWait wait = testfx::ReplayWait();

    UCalIdentity id;
    QVERIFY(UCalIdentify(port, id, wait));
    QCOMPARE(id.model, QString::fromLatin1(kModel));
    QVERIFY(!id.manufacturer.isEmpty() && !id.serialNumber.isEmpty() && !id.firmware.isEmpty());
    QVERIFY(UCalSwitch(port, MauryUCal::Short, wait));
    QCOMPARE(UCalReadTemp(port, wait), kRecordedTemp);
    QVERIFY(UCalReadTempInRange(port, wait));
    QVERIFY(UCalSwitch(port, MauryUCal::Open, wait));
    QVERIFY(UCalSwitch(port, MauryUCal::Load, wait));
    QVERIFY(UCalSwitch(port, MauryUCal::Thru, wait));

    UCalDataSets sets;
    QVERIFY(ReadFactoryDataSets(port, sets, wait));
    for (int b = 0; b < 4; ++b)
    {
        QVector<double> freqs;
        QVector<CplxVector> params;
        QVERIFY(Decode(RecordedBlock(session, "G" + QByteArray::number(b) + "\n"), freqs, params));
        QCOMPARE(params.size(), b < 3 ? 2 : 4);
        for (int k = 0; k < params.size(); ++k)
        {
            const int set = b < 3 ? b + 3 * k : 6;
            QCOMPARE(sets.freqs[set], freqs);
            const CplxVector& got =
                b < 3 ? sets.data[set].S11 : sets.data[6].GetSParam(VNATraceMeas(k));
            QCOMPARE(got, params[k]);
            if (b < 3)
            {
                // A reflection set carries S11 only; the rest is sized and zero.
                QCOMPARE(sets.data[set].S21, CplxVector(freqs.size()));
                QCOMPARE(sets.data[set].S22, CplxVector(freqs.size()));
            }
        }
    }
    // The emulator's states are passive; its thru is reciprocal.
    for (int i = 0; i < sets.freqs[6].size(); ++i)
    {
        for (int set = 0; set < 6; ++set)
        {
            QVERIFY(std::abs(sets.data[set].S11[i]) < 1.0);
        }
        const SParameters& t = sets.data[6];
        QVERIFY(std::norm(t.S11[i]) + std::norm(t.S21[i]) <= 1.0);
        QVERIFY(std::abs(t.S21[i] - t.S12[i]) < 1e-12);
    }
    QVERIFY(!UCalSendCommand(port, "X?\n", wait));  // an unknown command is refused
    QCOMPARE(UCalReadSwitchState(port, wait), UCalStateText(MauryUCal::Thru));
    QVERIFY(port.Matched());
    QCOMPARE(port.Used(), port.Count());
}

// Each way the emulator misbehaves, as recorded: the operation fails and says so by its result.
void TestUCalProtocol::faultSessionsFail()
{
    const UCalWait wait = testfx::ReplayWait();
    UCalIdentity id;
    for (const char* name : {"fault-silent", "fault-garble", "fault-babble", "fault-short-id"})
    {
        testfx::UCalReplayPort port(Session(QLatin1String(name)));
        QVERIFY2(port.Count() > 0, name);
        QVERIFY2(!UCalIdentify(port, id, wait), name);
        if (QByteArray(name) == "fault-garble")
        {
            QVERIFY(!UCalSwitch(port, MauryUCal::Short, wait));
            QCOMPARE(UCalReadTemp(port, wait), 0.0);
            QVERIFY(!UCalReadTempInRange(port, wait));
            QByteArray block;
            QVERIFY(!ReadCalBlock(port, 0, block, wait));
        }
        QVERIFY2(port.Matched() && port.Used() == port.Count(), name);
    }
    for (const char* name : {"fault-nak", "fault-bad-state"})
    {
        testfx::UCalReplayPort port(Session(QLatin1String(name)));
        QVERIFY2(!UCalSwitch(port, MauryUCal::Short, wait), name);
        QVERIFY2(port.Matched() && port.Used() == port.Count(), name);
    }
    // Replies that never come to a block, or a block the parser refuses.
    for (const char* name : {"fault-x-header", "fault-zero-count", "fault-short-block",
                             "fault-glued", "fault-bad-block", "fault-truncated-block"})
    {
        testfx::UCalReplayPort port(Session(QLatin1String(name)));
        QByteArray block;
        const bool read = ReadCalBlock(port, 0, block, wait);
        QCOMPARE(read, QByteArray(name).endsWith("-block") && !QByteArray(name).contains("short"));
        QVector<double> freqs;
        QVector<CplxVector> params;
        QVERIFY2(!read || !ParseCalBlock(block, freqs, params), name);
        QVERIFY2(port.Matched(), name);
    }
}

void TestUCalProtocol::blockFormat()
{
    const QVector<double> f{1e9, 2e9, 3e9};
    const CplxVector a{{0.1, -0.2}, {0.3, 0.4}, {-0.5, 0.6}};
    const CplxVector b{{1.0, 0.0}, {0.0, 1.0}, {-1.0, -1.0}};
    QVector<double> freqs;
    QVector<CplxVector> params;
    for (const QVector<CplxVector>& p :
         {QVector<CplxVector>{a, b}, QVector<CplxVector>{a, b, b, a}})
    {
        QVERIFY(ParseCalBlock(Encode(f, p), freqs, params));
        QCOMPARE(freqs, f);
        QCOMPARE(params, p);
    }
    // Three parameters, none, or no frequencies; a count larger than the bytes; a short tail.
    QVERIFY(!ParseCalBlock(Encode(f, {a, b, a}), freqs, params));
    QVERIFY(!ParseCalBlock(Encode(f, {}), freqs, params));
    QVERIFY(!ParseCalBlock(Encode({}, {{}, {}}), freqs, params));
    QVERIFY(!ParseCalBlock(Encode(f, {a, b}, -3), freqs, params));
    QVERIFY(!ParseCalBlock(Encode(f, {a, b}, 0x7fffffff), freqs, params));
    QVERIFY(!ParseCalBlock(Encode(f, {a, b}, kOwn, 0x7fffffff), freqs, params));
    QVERIFY(!ParseCalBlock(Encode(f, {a, b}).chopped(1), freqs, params));
    QVERIFY(!ParseCalBlock(QByteArray(), freqs, params));
}

// The block's line: "R" and a positive count in base 10, nothing else.
void TestUCalProtocol::blockHeaders()
{
    const QByteArray data = Encode({1e9}, {{{0.5, 0.5}}, {{0.25, 0.0}}});
    const auto reply = [&](const QByteArray& line) -> QVector<testfx::UCalExchange> {
        return {{"G2\n", {line + "\n", data}}};
    };
    QByteArray out;
    for (const QByteArray& line : {QByteArray("X100"), QByteArray("R0"), QByteArray("R-5"),
                                   QByteArray("r") + QByteArray::number(data.size()),
                                   QByteArray("R12abc"), QByteArray("R99999999999")})
    {
        testfx::UCalReplayPort port(reply(line));
        QVERIFY2(!ReadCalBlock(port, 2, out, testfx::ReplayWait()), line.constData());
    }
    testfx::UCalReplayPort good(reply("R" + QByteArray::number(data.size())));
    QVERIFY(ReadCalBlock(good, 2, out, testfx::ReplayWait()));
    QCOMPARE(out, data);
    // The data arriving in the same read as the line's newline stay with the line.
    const QVector<testfx::UCalExchange> together{
        {"G2\n", {"R" + QByteArray::number(data.size()) + "\n" + data}}};
    testfx::UCalReplayPort glued(together);
    QVERIFY(!ReadCalBlock(glued, 2, out, testfx::ReplayWait()));
}

void TestUCalProtocol::modelText()
{
    QCOMPARE(UCalConnectorFromModel(QStringLiteral("MT982B01-35-MF")), Conn3_5mm);
    QCOMPARE(UCalConnectorFromModel(QStringLiteral("X-7-MM")), ConnAPC);
    QCOMPARE(UCalConnectorFromModel(QStringLiteral("X-N-FF")), ConnN);
    QCOMPARE(UCalConnectorFromModel(QStringLiteral("X-292")), Conn2_92mm);
    QCOMPARE(UCalConnectorFromModel(QStringLiteral("X-24-MF")), ConnOther);
    QCOMPARE(UCalConnectorFromModel(QStringLiteral("X")), ConnOther);
    const QString mf = QStringLiteral("X-35-MF");
    QCOMPARE(UCalGenderFromModel(mf, 0), VNAMale);
    QCOMPARE(UCalGenderFromModel(mf, 1), VNAFemale);
    QCOMPARE(UCalGenderFromModel(mf, 2), VNAMale);   // past the field's end
    QCOMPARE(UCalGenderFromModel(mf, -1), VNAMale);  // no such port
    QCOMPARE(UCalGenderFromModel(QStringLiteral("X-35-FX"), 1), VNAFemale);
    QCOMPARE(UCalGenderFromModel(QStringLiteral("X-35"), 0), VNAMale);
}

void TestUCalProtocol::discoveryByIdentity()
{
    const QList<UCalPortInfo> ports{Usb("ttyS0", 0, 0, false), Usb("ttyACM1", 9786, 42),
                                    Usb("ttyUSB0", 9786, 43), Usb("ttyUSB1", 1027, 42),
                                    Usb("ttyACM0", 9786, 42)};
    QList<UCalPortInfo> found = MauryUCal::FindDevices(ports, QString());
    QCOMPARE(found.size(), 2);
    QCOMPARE(found[0].portName, QStringLiteral("ttyACM1"));  // in the listed order
    QCOMPARE(found[1].portName, QStringLiteral("ttyACM0"));
    // Identifiers that are not reported do not match, even when their values would.
    UCalPortInfo unreported = Usb("ttyACM2", 9786, 42);
    unreported.hasProductIdentifier = false;
    QVERIFY(MauryUCal::FindDevices({unreported}, QString()).isEmpty());

    // A named port comes first and only once.
    found = MauryUCal::FindDevices(ports, QStringLiteral("ttyACM0"));
    QCOMPARE(found.size(), 2);
    QCOMPARE(found[0].portName, QStringLiteral("ttyACM0"));
    QCOMPARE(found[1].portName, QStringLiteral("ttyACM1"));
    found = MauryUCal::FindDevices({}, QStringLiteral("/dev/pts/7"));
    QCOMPARE(found.size(), 1);
    QVERIFY(!found[0].hasVendorIdentifier);

    // The environment names the port before the preference does.
    Preferences::Get().uCalPortName = QStringLiteral("/dev/pts/3");
    qunsetenv("VNA_UCAL_PORT");
    QCOMPARE(MauryUCal::ExplicitPortName(), QStringLiteral("/dev/pts/3"));
    qputenv("VNA_UCAL_PORT", "/dev/pts/9");
    QCOMPARE(MauryUCal::ExplicitPortName(), QStringLiteral("/dev/pts/9"));
    qunsetenv("VNA_UCAL_PORT");
    Preferences::Get().uCalPortName.clear();
    QCOMPARE(MauryUCal::ExplicitPortName(), QString());
}

void TestUCalProtocol::kitFromSets()
{
    UCalIdentity id{QStringLiteral("Maury Microwave"), QStringLiteral("U-292-FM"),
                    QStringLiteral("77"), QStringLiteral("1.0")};
    UCalDataSets sets;
    const QVector<double> f = {1e8, 2e9, 4e9};
    for (int i = 0; i < kUCalSetCount; ++i)
    {
        sets.freqs[i] = f;
        sets.data[i] = testfx::SmoothSParams(f);
    }
    VNACalKit kit = BuildUCalKit(id, sets);
    QCOMPARE(kit.CalKitName, id.model);
    QCOMPARE(kit.Description, QStringLiteral("Maury Microwave U-292-FM SN:77"));
    QCOMPARE(kit.Connector, Conn2_92mm);
    QVERIFY(kit.IsUCalModule());
    QCOMPARE(kit.Standards.size(), kUCalSetCount);
    const CalClass classes[kUCalSetCount] = {CalClassShort, CalClassOpen, CalClassLoad,
                                             CalClassShort, CalClassOpen, CalClassLoad,
                                             CalClassThru};
    for (int i = 0; i < kUCalSetCount; ++i)
    {
        const CalKitStandardInfo& s = kit.Standards[i];
        QCOMPARE(s.ID, i + 1);
        QVERIFY(s.IsDataBased());
        QCOMPARE(s.UCalPort, i >= 3 && i < 6 ? 1 : 0);
        QCOMPARE(s.Gender, s.UCalPort == 0 ? VNAFemale : VNAMale);
        QCOMPARE(s.DataReflectOnly, i < 6);
        QCOMPARE(s.FMin, 0.0);
        QCOMPARE(s.FMax, 4e9);
        QCOMPARE(s.DataS21, sets.data[i].S21);
        bool found = false;
        QCOMPARE(kit.GetClassOfStandard(s.ID, found), classes[i]);
        QVERIFY(found);
    }
    QVERIFY(kit.CanPerformSOLT());
    // An empty set gives no standard: without a thru the kit serves one-port calibrations only.
    sets.freqs[6].clear();
    kit = BuildUCalKit(id, sets);
    QCOMPARE(kit.Standards.size(), kUCalSetCount - 1);
    QVERIFY(kit.CanPerform(SOL));
    QVERIFY(!kit.CanPerform(SOLT));
}

QTEST_GUILESS_MAIN(TestUCalProtocol)
#include "test_ucal_protocol.moc"
