// Parameter readers, their errors, the number, frequency, time, file-name and block forms, and
// the word tables of the enumerations.
#include <QtTest>
#include <cmath>
#include <functional>

#include "scpi_parameters.h"
#include "test_scpi_harness.h"

using scpitest::DrainErrors;
using scpitest::Harness;

namespace
{
// Runs body as the command body of one setter carrying the given parameter text.
void WithParameters(const QString& parameters, const std::function<void(Scpi*)>& body)
{
    Harness h;
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        h.bodies[scpiCommands[i].id] = body;
    }
    h.Line(QStringLiteral(":SYST:IMAG:SAV ") + parameters);
}

// One reader call on a parameter: result, value read, queued errors, and what was left behind.
template <typename T>
struct ReadResult
{
    bool ok = false;
    T value{};
    QList<SystemError> errors;
    QStringList left;
};

template <typename T, typename Reader>
ReadResult<T> Read(const QString& parameters, Reader reader)
{
    ReadResult<T> r;
    SysErr::ClearErrors();
    WithParameters(parameters,
                   [&r, reader](Scpi* s)
                   {
                       r.ok = std::invoke(reader, s, r.value);
                       r.left = s->GetParameters();
                   });
    r.errors = DrainErrors();
    return r;
}

bool ReadInt(Scpi* s, int& value)
{
    return s->GetNextParameterInt(value, true);
}

bool OneError(const QList<SystemError>& errors, int code, const char* detail)
{
    return errors.size() == 1 && errors[0].code == code &&
           errors[0].detail == QLatin1String(detail);
}
}  // namespace

class TestScpiParameters : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { scpitest::QuietDebug(); }
    void init() { SysErr::ClearErrors(); }

    void missingParameterIsTooFew();
    void integersBooleansAndDoubles();
    void frequencyTextKeepsItsNarrowPattern();
    void timeText();
    void fileNamesAndHexStrings();
    void binaryBlocks();
    void peekersAndBulkReaders();
    void wordTablesRoundTrip();
    void wordReadersQueueTheirOwnErrors();
};

void TestScpiParameters::missingParameterIsTooFew()
{
    // With nothing left every reader fails; all but the optional int and the peek say -3.
    int anyTrue = 0;
    WithParameters(QString(),
                   [&anyTrue](Scpi* s)
                   {
                       int i = 0;
                       bool b = false;
                       double d = 0.0;
                       QString t;
                       std::vector<unsigned char> v;
                       anyTrue = s->GetNextParameterInt(i, true) +
                                 s->GetNextParameterInt(i, false) +
                                 s->GetNextParameterStringNoError(t) +
                                 s->GetNextParameterString(t, false) + s->GetNextParameterBool(b) +
                                 s->GetNextParameterDouble(d) + s->GetNextParameterFreq(d) +
                                 s->GetNextParameterTime(d) + s->GetNextParameterFileName(t) +
                                 s->GetNextParameterHexString(t) + s->GetNextParameterBinary(v);
                   });
    QCOMPARE(anyTrue, 0);
    const QList<SystemError> errors = DrainErrors();
    QCOMPARE(errors.size(), 9);
    for (const SystemError& e : errors)
    {
        QVERIFY(e.code == -3 && e.detail == QLatin1String("Expected parameter") &&
                e.message == QLatin1String("Too few parameters"));
    }
}

void TestScpiParameters::integersBooleansAndDoubles()
{
    const int ints[] = {0, 7, -7, 2147483647, -2147483647 - 1};
    for (int v : ints)
    {
        auto r = Read<int>(QString::number(v) + QStringLiteral(",next"), ReadInt);
        QVERIFY(r.ok && r.value == v && r.errors.isEmpty());
        QCOMPARE(r.left, QStringList{"next"});
    }
    QCOMPARE(Read<int>(QStringLiteral("+12"), ReadInt).value, 12);
    const char* const badInts[] = {"4.2", "0x10", "2147483648", "abc", "1e3", "7 8"};
    for (const char* bad : badInts)
    {
        // A bad value is reported and left in place for another reader.
        auto r = Read<int>(QString::fromLatin1(bad), ReadInt);
        QVERIFY2(!r.ok && OneError(r.errors, -2, "Expected integer parameter"), bad);
        QCOMPARE(r.left, QStringList{QString::fromLatin1(bad)});
    }
    // An empty field between commas is a parameter that reads as nothing valid.
    auto empty = Read<int>(QStringLiteral(",5"), ReadInt);
    QVERIFY(!empty.ok && OneError(empty.errors, -2, "Expected integer parameter"));
    QCOMPARE(empty.left, (QStringList{"", "5"}));

    const QPair<const char*, bool> bools[] = {
        {"on", true}, {"ON", true}, {"1", true}, {"oFf", false}, {"0", false}};
    for (const auto& b : bools)
    {
        auto r = Read<bool>(QString::fromLatin1(b.first), &Scpi::GetNextParameterBool);
        QVERIFY2(r.ok && r.value == b.second && r.left.isEmpty(), b.first);
    }
    const char* const badBools[] = {"true", "2", "yes", "o n", "01"};
    for (const char* bad : badBools)
    {
        auto r = Read<bool>(QString::fromLatin1(bad), &Scpi::GetNextParameterBool);
        QVERIFY2(!r.ok && OneError(r.errors, -2, "Expected boolean parameter"), bad);
        QCOMPARE(r.left.size(), 1);
    }

    const double doubles[] = {0.0, -1.5, 1e-12, 6.02214076e23, 50.0};
    for (double v : doubles)
    {
        auto r = Read<double>(QString::number(v, 'g', 17), &Scpi::GetNextParameterDouble);
        QVERIFY(r.ok && r.value == v);
    }
    const char* const badDoubles[] = {"abc", "1ghz", "1 5", "--1", "1.2.3"};
    for (const char* bad : badDoubles)
    {
        auto r = Read<double>(QString::fromLatin1(bad), &Scpi::GetNextParameterDouble);
        QVERIFY2(!r.ok && OneError(r.errors, -2, "Expected floating point parameter"), bad);
    }
}

void TestScpiParameters::frequencyTextKeepsItsNarrowPattern()
{
    struct Good
    {
        const char* text;
        double number;
        double factor;
    };
    const Good good[] = {
        {"1e9", 1e9, 1},      {"1.5ghz", 1.5, 1e9}, {"1.5 G Hz", 1.5, 1e9},
        {"2.4MHZ", 2.4, 1e6}, {"100k", 100, 1e3},   {"100kh", 100, 1e3},
        {"7", 7, 1},          {"-5hz", -5, 1},      {".5m", 0.5, 1e6},
        {"+3h", 3, 1},        {"3e0ghz", 0, 0},     {"12mh", 12, 1e6},
    };
    for (const Good& g : good)
    {
        bool ok = false;
        const double value = scpiParameterToFreq(QString::fromLatin1(g.text), ok);
        if (g.factor == 0)
        {
            // An exponent and a unit together: the unit search finds the "e" first.
            QVERIFY2(!ok && value == 0.0, g.text);
            continue;
        }
        QVERIFY2(ok, g.text);
        QCOMPARE(value, g.number * g.factor);
    }
    // Exponents of more than one digit, with a sign, or followed by a unit fail; so do other
    // words and texts without a number.
    const char* const bad[] = {"1e10", "1e-3", "1e9hz", "1thz",    "abc",
                               "",     "ghz",  "5 x",   "1.5 mhzz"};
    for (const char* text : bad)
    {
        bool ok = true;
        QCOMPARE(scpiParameterToFreq(QString::fromLatin1(text), ok), 0.0);
        QVERIFY2(!ok, text);
    }
    auto r = Read<double>(QStringLiteral("1e10"), &Scpi::GetNextParameterFreq);
    QVERIFY(!r.ok && OneError(r.errors, -2, "Expected frequency parameter"));
    r = Read<double>(QStringLiteral("1.5 GHz"), &Scpi::GetNextParameterFreq);
    QVERIFY(r.ok && r.value == 1.5e9 && r.errors.isEmpty());
}

void TestScpiParameters::timeText()
{
    struct Good
    {
        const char* text;
        double number;
        double factor;
    };
    const Good good[] = {
        {"1ns", 1, 1e-9},     {"5 us", 5, 1e-6}, {"2ms", 2, 1e-3},        {"3s", 3, 1},
        {"4ps", 4, 1e-12},    {"10", 10, 1},     {"-1.5e-9", -1.5e-9, 1}, {".25ns", 0.25, 1e-9},
        {"1e3ps", 1e3, 1e-12}};
    for (const Good& g : good)
    {
        double seconds = 0.0;
        QVERIFY2(isValidTimeString(QString::fromLatin1(g.text), seconds), g.text);
        QCOMPARE(seconds, g.number * g.factor);
    }
    const char* const bad[] = {"", "ns", "1 min", "1nss", "1 n s", "1ks", "1.2.3ns", "s1"};
    for (const char* text : bad)
    {
        double seconds = 0.0;
        QVERIFY2(!isValidTimeString(QString::fromLatin1(text), seconds), text);
    }
    // The reader lower-cases first, so units in capitals are taken.
    auto r = Read<double>(QStringLiteral("2NS"), &Scpi::GetNextParameterTime);
    QVERIFY(r.ok && r.value == 2 * 1e-9);
    r = Read<double>(QStringLiteral("2 hours"), &Scpi::GetNextParameterTime);
    QVERIFY(!r.ok && OneError(r.errors, -2, "Expected time parameter"));
}

void TestScpiParameters::fileNamesAndHexStrings()
{
    auto r = Read<QString>(QStringLiteral("\"dir/My File.s2p\""), &Scpi::GetNextParameterFileName);
    QVERIFY(r.ok && r.value == QStringLiteral("dir/My File.s2p"));
    r = Read<QString>(QStringLiteral("\"\""), &Scpi::GetNextParameterFileName);
    QVERIFY(r.ok && r.value.isEmpty());
    const char* const bad[] = {"plain.s2p", "\"open.s2p", "close.s2p\"", "\"", "'single.s2p'"};
    for (const char* text : bad)
    {
        auto b = Read<QString>(QString::fromLatin1(text), &Scpi::GetNextParameterFileName);
        QVERIFY2(!b.ok && OneError(b.errors, -2, "Invalid file name format"), text);
        QCOMPARE(b.left.size(), 1);
    }

    r = Read<QString>(QStringLiteral("0a1bff"), &Scpi::GetNextParameterHexString);
    QVERIFY(r.ok && r.value == QStringLiteral("0A1BFF"));
    // Only the character range is checked.
    const QString latin = QStringLiteral("zz") + QChar(0xe9);
    r = Read<QString>(latin, &Scpi::GetNextParameterHexString);
    QVERIFY(r.ok && r.value == latin.toUpper());
    r = Read<QString>(QStringLiteral("ab") + QChar(0x0100), &Scpi::GetNextParameterHexString);
    QVERIFY(!r.ok && OneError(r.errors, -2, "Expected hex string"));
}

void TestScpiParameters::binaryBlocks()
{
    auto bytesOf = [](const std::vector<unsigned char>& v)
    { return QByteArray(reinterpret_cast<const char*>(v.data()), static_cast<int>(v.size())); };
    // Builds a definite-length block for a payload, independently of the reader.
    auto block = [](const QByteArray& payload, int digitsPadding)
    {
        QByteArray count = QByteArray::number(payload.size());
        count.prepend(QByteArray(digitsPadding, '0'));
        return "#" + QByteArray::number(count.size()) + count + payload;
    };
    const QByteArray payloads[] = {"hello", "", "x", QByteArray(123, 'q'), "a b\tc"};
    for (const QByteArray& payload : payloads)
    {
        for (int padding : {0, 2})
        {
            std::vector<unsigned char> data;
            const QByteArray text = block(payload, padding);
            QVERIFY2(scpiParameterToBinary(QString::fromLatin1(text), data), text.constData());
            QCOMPARE(bytesOf(data), payload);
            // Bytes behind the block are ignored.
            QVERIFY(scpiParameterToBinary(QString::fromLatin1(text + "tail"), data));
            QCOMPARE(bytesOf(data), payload);
        }
    }
    const char* const bad[] = {"",   "#",      "#1",  "15hello",     "#a5hello", "#15hell",
                               "#3", "#312ab", "#00", "#9123456789", "#2-1x"};
    for (const char* text : bad)
    {
        std::vector<unsigned char> data;
        QVERIFY2(!scpiParameterToBinary(QString::fromLatin1(text), data), text);
    }
    auto r = Read<std::vector<unsigned char>>(QStringLiteral("#13abc,rest"),
                                              &Scpi::GetNextParameterBinary);
    QVERIFY(r.ok && bytesOf(r.value) == "abc");
    QCOMPARE(r.left, QStringList{"rest"});
    r = Read<std::vector<unsigned char>>(QStringLiteral("#19abc"), &Scpi::GetNextParameterBinary);
    QVERIFY(!r.ok && OneError(r.errors, -2, "Expected binary parameter"));
    // The comma splits a block travelling in a command line.
    r = Read<std::vector<unsigned char>>(QStringLiteral("#13a,c"), &Scpi::GetNextParameterBinary);
    QVERIFY(!r.ok);
}

void TestScpiParameters::peekersAndBulkReaders()
{
    bool flags[8] = {};
    QString peeked, taken;
    QStringList rest;
    WithParameters(QStringLiteral("MiNiMuM,Hello"),
                   [&](Scpi* s)
                   {
                       flags[0] = s->IsNextParameterMin();
                       flags[1] = s->IsNextParameterMax();
                       s->GetNextParameterStringNoError(peeked);
                       s->GetNextParameterString(taken, true);
                       flags[2] = s->IsNextParameterMin();
                       rest = s->GetParameters();
                       flags[3] = s->IsNextParameterUp() || s->IsNextParameterDown() ||
                                  s->IsNextParameterMax();
                   });
    QVERIFY(flags[0] && !flags[1] && !flags[2] && !flags[3]);
    QCOMPARE(peeked, QStringLiteral("MiNiMuM"));
    QCOMPARE(taken, QStringLiteral("minimum"));
    QCOMPARE(rest, QStringList{"Hello"});

    WithParameters(QStringLiteral("max,UP,down"),
                   [&](Scpi* s)
                   {
                       flags[4] = s->IsNextParameterMax();
                       QString t;
                       s->GetNextParameterString(t, false);
                       flags[5] = s->IsNextParameterUp();
                       s->GetNextParameterString(t, false);
                       flags[6] = s->IsNextParameterDown() && !s->IsNextParameterUp();
                   });
    QVERIFY(flags[4] && flags[5] && flags[6]);

    QList<int> ints;
    int leftAfter = -1;
    WithParameters(QStringLiteral("1, -2 ,x,4"),
                   [&](Scpi* s)
                   {
                       ints = s->GetIntParameters();
                       leftAfter = s->ParameterCount();
                   });
    QCOMPARE(ints, (QList<int>{1, -2}));
    QCOMPARE(leftAfter, 0);
    QCOMPARE(SysErr::GetErrorCount(), 0);
}

void TestScpiParameters::wordTablesRoundTrip()
{
    // Every value's reply word reads back to the value; a value outside the table answers the
    // table's "Unknown" text, which reads back to nothing.
    auto roundTrip = [](auto toText, auto fromText, int count, auto typeTag)
    {
        using E = decltype(typeTag);
        for (int v = 0; v < count; ++v)
        {
            E back{};
            const QString word = toText(static_cast<E>(v));
            if (!fromText(word, back) || static_cast<int>(back) != v || word != word.toLower())
            {
                return false;
            }
        }
        E back{};
        const QString unknown = toText(static_cast<E>(count));
        return unknown.startsWith(QLatin1String("Unknown")) && !fromText(unknown, back);
    };
    QVERIFY(roundTrip(sweepModeToText, stringToSweepMode, 3, VNASweepMode::Mode()));
    QVERIFY(roundTrip(markerCouplingMethodToString, stringToMarkerCouplingMethod, 3, int()));
    QVERIFY(roundTrip(measToText, stringToMeas, 4, VNATraceMeas()));
    QVERIFY(roundTrip(traceFormatToText, stringToTraceFormat, 11, VNATraceFormat()));
    QVERIFY(roundTrip([](int v) { return traceHoldTypeToText(VNATraceHold(v)); },
                      stringToTraceHoldType, 3, int()));
    QVERIFY(roundTrip([](int v) { return traceMathOpToText(VNATraceMathOp(v)); },
                      stringToTraceMathOp, 6, int()));
    QVERIFY(roundTrip(referenceToText, stringToReference, 2, VNAReference()));
    QVERIFY(roundTrip(markerFunctionToText, stringToMarkerFunction, 5, int()));
    QVERIFY(roundTrip(markerTrackingFunctionToText, stringToMarkerTrackingFunction, 2, int()));
    QVERIFY(roundTrip(transformTypeToText, stringToTransformType, 3, int()));
    QVERIFY(roundTrip(transformWindowToText, stringToTransformWindow, 4, int()));
    QVERIFY(roundTrip(transformMarkerModeToText, stringToTransformMarkerMode, 3, int()));
    QVERIFY(roundTrip(transformUnitsToText, stringToTransformUnits, 4, int()));
    QVERIFY(roundTrip(gateTypeToText, stringToGateType, 2, int()));
    QVERIFY(roundTrip(gateShapeToText, stringToGateShape, 4, int()));
    QVERIFY(roundTrip(powerConfigToText, stringToPowerConfig, 4, VNAPowerConfig()));
    QVERIFY(roundTrip(sweepTypeToText, stringToSweepType, 3, VNASweepType()));
    QVERIFY(roundTrip([](int v) { return traceScaleCouplingToText(VNATraceScaleCoupling(v)); },
                      stringToTraceScaleCoupling, 3, int()));
    for (bool b : {false, true})
    {
        bool back = !b;
        QVERIFY(stringToMarkerType(markerTypeToText(b), back) && back == b);
        back = !b;
        QVERIFY(stringToTriggerScope(triggerScopeToText(b), back) && back == b);
    }

    // Replies use the long word; the short word is accepted too; matching is exact.
    VNATraceFormat format = LinMag;
    QVERIFY(stringToTraceFormat(QStringLiteral("gdel"), format) && format == GroupDelay);
    QVERIFY(!stringToTraceFormat(QStringLiteral("GDEL"), format));
    QVERIFY(!stringToTraceFormat(QStringLiteral("gdela"), format));
    QCOMPARE(traceHoldTypeToText(HoldMin), QStringLiteral("minimum"));
    QCOMPARE(triggerScopeToText(false), QStringLiteral("active"));
    QCOMPARE(transformUnitsToText(1), QStringLiteral("metrs"));
    int units = 0;
    QVERIFY(stringToTransformUnits(QStringLiteral("metr"), units) && units == 1);
    QVERIFY(!stringToTransformUnits(QStringLiteral("meters"), units));

    // The error-term names map to consecutive indices in their listed order.
    const char* const terms[] = {"edf", "esf", "erf", "elf", "etf", "exf",
                                 "edr", "esr", "err", "elr", "etr", "exr"};
    for (int i = 0; i < 12; ++i)
    {
        bool ok = false;
        QCOMPARE(ScpiParamToErrTerm(QString::fromLatin1(terms[i]), ok), i);
        QVERIFY(ok);
    }
    bool ok = true;
    ScpiParamToErrTerm(QStringLiteral("EDF"), ok);
    QVERIFY(!ok);
    ok = true;
    ScpiParamToErrTerm(QStringLiteral("eXX"), ok);
    QVERIFY(!ok);
}

void TestScpiParameters::wordReadersQueueTheirOwnErrors()
{
    VNASweepMode::Mode mode = VNASweepMode::Hold;
    int left = -1;
    bool results[3] = {};
    WithParameters(QStringLiteral(" CONT ,\"sing\",bogus"),
                   [&](Scpi* s)
                   {
                       results[0] = scpiParameterToSweepMode(s, mode);  // case ignored
                       VNASweepMode::Mode other = VNASweepMode::Hold;
                       results[1] =
                           scpiParameterToSweepMode(s, other);  // quotes stay part of the word
                       VNAPowerConfig config = VNAPowerHigh;
                       results[2] = scpiParameterToPowerConfig(s, config);
                       left = s->ParameterCount();  // consumed even on failure
                   });
    QVERIFY(results[0] && !results[1] && !results[2]);
    QCOMPARE(mode, VNASweepMode::Continuous);
    QCOMPARE(left, 0);
    const QList<SystemError> errors = DrainErrors();
    QCOMPARE(errors.size(), 2);
    QVERIFY(OneError({errors[0]}, -2, "Expected sweep mode"));
    QVERIFY(OneError({errors[1]}, -2, "Expected power config"));

    // Missing parameter: the string reader's -3, nothing else.
    WithParameters(QString(),
                   [&](Scpi* s)
                   {
                       int v = 0;
                       results[0] = scpiParameterToTransformType(s, v);
                   });
    QVERIFY(!results[0]);
    QVERIFY(OneError(DrainErrors(), -3, "Expected parameter"));

    VNATraceMeas meas = S11;
    bool fixed = false;
    bool all = false;
    WithParameters(QStringLiteral("S22,s33,FIXED,Act"),
                   [&](Scpi* s)
                   {
                       results[0] = scpiParameterToMeas(s, meas);
                       VNATraceMeas m = S11;
                       results[1] = scpiParameterToMeas(s, m);
                       results[2] = scpiParameterToMarkerType(s, fixed) &&
                                    scpiParameterToTriggerScope(s, all);
                   });
    QVERIFY(results[0] && !results[1] && results[2]);
    QCOMPARE(meas, S22);
    QVERIFY(fixed && !all);
    QVERIFY(OneError(DrainErrors(), -2, "Expected measurement parameter"));
}

QTEST_GUILESS_MAIN(TestScpiParameters)
#include "test_scpi_parameters.moc"
