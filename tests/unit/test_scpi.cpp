// The command language end to end: table, matching, compound lines, replies, line assembly and
// robustness against garbage.
#include <QRandomGenerator>
#include <QSet>
#include <QtTest>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "scpi_status.h"
#include "test_scpi_harness.h"

using scpitest::DrainErrors;
using scpitest::Harness;

namespace
{
int IdOf(const char* pattern)
{
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        if (QString::fromLatin1(scpiCommands[i].pattern) == QLatin1String(pattern))
        {
            return scpiCommands[i].id;
        }
    }
    return -1;
}

// Writes a header for a pattern the way a client would: long or short forms, optional keywords
// written or left out, suffix keywords numbered from firstSuffix upwards.
QString HeaderFor(const QString& pattern, bool shortForms, bool withOptional, int firstSuffix)
{
    QString p = pattern;
    const bool query = p.endsWith(QLatin1Char('?'));
    if (query)
    {
        p.chop(1);
    }
    QStringList out;
    int suffix = firstSuffix;
    for (QString part : p.split(QLatin1Char(':'), Qt::SkipEmptyParts))
    {
        const bool optional = part.startsWith(QLatin1Char('&'));
        const bool numbered = part.endsWith(QLatin1Char('#'));
        part.remove(QLatin1Char('&')).remove(QLatin1Char('#'));
        if (optional && !withOptional)
        {
            continue;
        }
        QString word;
        for (QChar c : part)
        {
            if (!shortForms || !c.isLower())
            {
                word += c;
            }
        }
        if (numbered)
        {
            word += QString::number(suffix++);
        }
        out.append(word);
    }
    QString header = (p.startsWith(QLatin1Char(':')) ? QStringLiteral(":") : QString()) +
                     out.join(QLatin1Char(':'));
    return query ? header + QLatin1Char('?') : header;
}

// Splits a reply at "," and reads every field as a number.
QVector<double> Numbers(const QByteArray& reply)
{
    QVector<double> values;
    for (const QByteArray& field : reply.trimmed().split(','))
    {
        values.append(field.toDouble());
    }
    return values;
}
}  // namespace

class TestScpi : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { scpitest::QuietDebug(); }
    void init() { SysErr::ClearErrors(); }

    void tableCompilesAndEveryRowAnswersToItsOwnHeader();
    void matchingRules();
    void suffixesAreGreedyAndReadInOrder();
    void compoundLinesAndRelativePaths();
    void parametersAreSplitAtCommas();
    void replyForms();
    void commitAndFlushKeepTheirQuirks();
    void lineAssembly();
    void exceptionInBodyDropsOnlyItsLine();
    void garbageNeverStopsTheParser();
    void dataRepliesAsBlocks();
    void heldCommandsRunInOrderOnRelease();
    void errorCodesSetTheirEventBits();
};

void TestScpi::tableCompilesAndEveryRowAnswersToItsOwnHeader()
{
    // The original set: 258 rows, ids 1 to 276 without 51 to 68; additions follow from
    // kScpiFirstExtensionId, without gaps.
    int original = 0;
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        original += scpiIsExtension(scpiCommands[i].id) ? 0 : 1;
    }
    QCOMPARE(original, 258);
    QCOMPARE(kScpiFirstExtensionId, 277);
    QSet<int> ids;
    int previous = 0;
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const ScpiCommand& c = scpiCommands[i];
        QVERIFY2(c.id > previous, c.pattern);
        previous = c.id;
        ids.insert(c.id);
        const QList<ScpiKeyword> keywords = buildCommandTree(QString::fromLatin1(c.pattern));
        QVERIFY2(!keywords.isEmpty(), c.pattern);
        const bool query = QString::fromLatin1(c.pattern).endsWith(QLatin1Char('?'));
        QCOMPARE(keywords.last().longForm == QLatin1String("?"), query);
        for (const ScpiKeyword& k : keywords)
        {
            // Every short form is a prefix of its long form, or matching could never succeed.
            QVERIFY2(k.longForm.startsWith(k.shortForm) && !k.shortForm.isEmpty(), c.pattern);
            QCOMPARE(k.shortForm, k.shortForm.toLower());
        }
    }
    const int lastId = scpiCommands[scpiCommandCount() - 1].id;
    for (int id = 1; id <= lastId; ++id)
    {
        QCOMPARE(ids.contains(id), id < 51 || id > 68);
    }

    // Every row, written long, short, with and without its optional keywords and in odd case,
    // reaches its own id; the suffixes arrive in keyword order. The second copy of the automatic
    // statistics row can never be reached: the first copy wins.
    const int shadowedBy = IdOf(":CALCulate#:MEASure#:STATistics:AUTO:&STATe");
    QVERIFY(shadowedBy > 0);
    Harness h;
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const ScpiCommand& c = scpiCommands[i];
        const QString pattern = QString::fromLatin1(c.pattern);
        const int expected = pattern == QLatin1String(":CALCulate#:MEASure#:STATistics:AUTO:&STATe")
                                 ? shadowedBy
                                 : c.id;
        const int suffixCount = pattern.count(QLatin1Char('#'));
        for (int variant = 0; variant < 4; ++variant)
        {
            QString header = HeaderFor(pattern, variant & 1, variant & 2, 3);
            if (variant == 3)
            {
                header = header.toLower();
            }
            h.dispatched.clear();
            h.Line(header);
            QVERIFY2(h.dispatched.size() == 1, qPrintable(header));
            QVERIFY2(h.dispatched[0].id == expected, qPrintable(header));
            QList<int> suffixes;
            for (int s = 0; s < suffixCount; ++s)
            {
                suffixes.append(3 + s);
            }
            QCOMPARE(h.dispatched[0].suffixes, suffixes);
        }
    }
    QCOMPARE(SysErr::GetErrorCount(), 0);
}

void TestScpi::matchingRules()
{
    Harness h;
    const int errCount = IdOf(":SYSTem:ERRor:COUNt?");
    const int errNext = IdOf(":SYSTem:ERRor:&NEXT?");
    const int errClear = IdOf(":SYSTem:ERRor:CLEAr");

    struct Case
    {
        const char* header;
        int id;  // 0: must fail with "Undefined header"
    };
    const Case cases[] = {
        {":SYST:ERR:COUN?", errCount},
        {":system:error:count?", errCount},
        {"SyStEm:ErRoR:cOuNt?", errCount},
        {":SYST:ERR?", errNext},  // optional last keyword
        {":SYST:ERR:NEXT?", errNext},
        {":SYSTE:ERR:COUN?", 0},  // a form between short and long never matches
        {":SYST:ERRO:COUN?", 0},
        {":SYST1:ERR:COUN?", 0},  // digits where no suffix is allowed
        {":SYST:ERR:NEXT1?", 0},  // ... even on an optional keyword
        {":SYST:ERR:COUN", 0},    // the query form is a separate command
        {":SYST:ERR:CLEA?", 0},
        {":SYST:ERR:CLEA", errClear},
        {":SYST:ERR:COUN?:EXTRA", 0},
        {"::SYST::ERR::COUN?", errCount},  // empty levels are skipped
        {"*idn?", IdOf("*IDN?")},
        {"*IDN", 0},
        // The query of the second automatic-statistics row does not exist.
        {":CALC1:MEAS1:STAT:AUTO?", 0},
        {":CALC1:MEAS1:STAT:AUTO 1", IdOf(":CALCulate#:MEASure#:STATistics:AUTO:&STATe")},
        // Marker coupling has no suffixes anywhere.
        {":CALC1:MEAS1:MARK:COUP ALL", 0},
        {":CALC:MEAS:MARK:COUP ALL", IdOf(":CALCulate:MEASure:MARKer:COUPling")},
        // All three optional keywords of the power level left out.
        {":SOUR2:POW -10", IdOf(":SOURce#:POWer:&LEVel:&IMMediate:&AMPLitude")},
        {":SOUR2:POW?", IdOf(":SOURce#:POWer:&LEVel:&IMMediate:&AMPLitude?")},
    };
    for (const Case& c : cases)
    {
        h.dispatched.clear();
        SysErr::ClearErrors();
        h.Line(QString::fromLatin1(c.header));
        if (c.id == 0)
        {
            QVERIFY2(h.dispatched.isEmpty(), c.header);
            const QList<SystemError> errors = DrainErrors();
            QCOMPARE(errors.size(), 1);
            QCOMPARE(errors[0].code, -4);
            QCOMPARE(errors[0].message, QStringLiteral("Undefined header"));
            // The detail is the header as written, parameters excluded.
            QCOMPARE(errors[0].detail,
                     QString::fromLatin1(c.header).section(QLatin1Char(' '), 0, 0));
        }
        else
        {
            QVERIFY2(c.id > 0, c.header);
            QVERIFY2(h.dispatched.size() == 1 && h.dispatched[0].id == c.id, c.header);
            QCOMPARE(SysErr::GetErrorCount(), 0);
        }
    }

    // The free matcher takes the path in front of a relative header; "?" is never looked up in
    // the path.
    const QList<ScpiKeyword> start = buildCommandTree(QStringLiteral(":SENSe#:FREQuency:STARt"));
    QList<int> suffixes;
    QVERIFY(matchCommand(QStringLiteral("STAR"), start, {"sens", "freq"}, suffixes));
    QCOMPARE(suffixes, QList<int>{-1});
    suffixes.clear();
    QVERIFY(!matchCommand(QStringLiteral("STAR"), start, {}, suffixes));
    suffixes.clear();
    QVERIFY(matchCommand(QStringLiteral("FREQ:STAR"), start, {"sens7"}, suffixes));
    QCOMPARE(suffixes, QList<int>{7});

    ScpiCallbackList c;
    c.keywords = buildCommandTree(QStringLiteral(":SYSTem:ERRor:&NEXT?"));
    QCOMPARE(scpiCommandToPath(c), (QStringList{"syst", "err"}));
}

void TestScpi::suffixesAreGreedyAndReadInOrder()
{
    Harness h;
    // 12 is one number, not 1 then 2; 0 is a value, unlike a suffix not written.
    h.Line(QStringLiteral(":SENS12:FREQ:STAR 1"));
    h.Line(QStringLiteral(":SENS0:FREQ:STAR 1"));
    h.Line(QStringLiteral(":SENS:FREQ:STAR 1"));
    h.Line(QStringLiteral(":SENS007:FREQ:STAR 1"));
    QCOMPARE(h.dispatched.size(), 4);
    QCOMPARE(h.dispatched[0].suffixes, QList<int>{12});
    QCOMPARE(h.dispatched[1].suffixes, QList<int>{0});
    QCOMPARE(h.dispatched[2].suffixes, QList<int>{-2});  // the caller's default stands
    QCOMPARE(h.dispatched[3].suffixes, QList<int>{7});

    h.dispatched.clear();
    h.Line(QStringLiteral(":CALC1:MEAS2:MARK3:X?"));
    h.Line(QStringLiteral(":CALC:MEAS2:MARK:X?"));
    QCOMPARE(h.dispatched.size(), 2);
    QCOMPARE(h.dispatched[0].suffixes, (QList<int>{1, 2, 3}));
    QCOMPARE(h.dispatched[1].suffixes, (QList<int>{-2, 2, -2}));

    // No suffix slots at all: the reader says so and still sets the default.
    int value = 99;
    h.bodies[IdOf("*IDN?")] = [&value](Scpi* s) { QVERIFY(!s->GetNextCommandSuffix(value, 5)); };
    h.Line(QStringLiteral("*IDN?"));
    QCOMPARE(value, 5);
}

void TestScpi::compoundLinesAndRelativePaths()
{
    Harness h;
    const int start = IdOf(":SENSe#:FREQuency:STARt");
    const int stop = IdOf(":SENSe#:FREQuency:STOP");

    // The relative command inherits the keywords but not the suffix written before.
    h.Line(QStringLiteral(":SENS2:FREQ:STAR 1e9;STOP 2e9"));
    QCOMPARE(h.Ids(), (QList<int>{start, stop}));
    QCOMPARE(h.dispatched[0].suffixes, QList<int>{2});
    QCOMPARE(h.dispatched[1].suffixes, QList<int>{-2});
    QCOMPARE(h.dispatched[1].parameters, QStringList{"2e9"});

    // A relative header after a command of another family fails; the path survives the failure.
    h.dispatched.clear();
    h.Line(QStringLiteral(":SYST:ERR:CLEA;SENS:FREQ:STAR 1e9"));
    QCOMPARE(h.Ids(), QList<int>{IdOf(":SYSTem:ERRor:CLEAr")});
    QList<SystemError> errors = DrainErrors();
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors[0].code, -4);
    QCOMPARE(errors[0].detail, QStringLiteral("SENS:FREQ:STAR"));

    h.dispatched.clear();
    h.Line(QStringLiteral(":SENS:FREQ:STAR 1;BOGUS;STOP 2"));
    QCOMPARE(h.Ids(), (QList<int>{start, stop}));
    QCOMPARE(DrainErrors().size(), 1);

    // A leading colon or star resets the path within the line; every line starts from the root.
    h.dispatched.clear();
    h.Line(QStringLiteral(":SENS:FREQ:STAR 1;*RST;STOP 2"));
    QCOMPARE(h.Ids(), (QList<int>{start, IdOf("*RST")}));
    QCOMPARE(DrainErrors().size(), 1);
    h.dispatched.clear();
    h.Line(QStringLiteral(":SENS:FREQ:STAR 1"));
    h.Line(QStringLiteral("STOP 2"));
    QCOMPARE(h.Ids(), QList<int>{start});
    QCOMPARE(DrainErrors().size(), 1);

    // Empty parts between semicolons are skipped; a part of spaces is an empty header.
    h.dispatched.clear();
    QCOMPARE(h.Line(QStringLiteral(";;;")), QByteArray());
    QVERIFY(h.dispatched.isEmpty());
    QCOMPARE(SysErr::GetErrorCount(), 0);
    QCOMPARE(h.Line(QStringLiteral("   ")), QByteArray());
    QVERIFY(h.dispatched.isEmpty());
    QCOMPARE(h.log.entries.last(), qMakePair(QStringLiteral("   "), false));
    DrainErrors();

    // A quoted file name is no protection against the separators.
    h.dispatched.clear();
    h.Line(QStringLiteral(":SYST:IMAG:SAV \"a;b.png\""));
    QCOMPARE(h.Ids(), QList<int>{IdOf(":SYSTem:IMAGe:SAVe")});
    QCOMPARE(h.dispatched[0].parameters, QStringList{"\"a"});
    QCOMPARE(DrainErrors().size(), 1);
}

void TestScpi::parametersAreSplitAtCommas()
{
    Harness h;
    h.Line(QStringLiteral(":SYST:IMAG:SAV 1,,3"));
    h.Line(QStringLiteral(":SYST:IMAG:SAV    a  ,  b c  ,"));
    h.Line(QStringLiteral(":SYST:IMAG:SAV"));
    h.Line(QStringLiteral("   :SYST:IMAG:SAV   "));
    h.Line(QStringLiteral(":DISP:WIND1:TITL:DATA Hello World"));
    QCOMPARE(h.dispatched.size(), 5);
    QCOMPARE(h.dispatched[0].parameters, (QStringList{"1", "", "3"}));
    QCOMPARE(h.dispatched[1].parameters, (QStringList{"a", "b c", ""}));
    QVERIFY(h.dispatched[2].parameters.isEmpty());
    QVERIFY(h.dispatched[3].parameters.isEmpty());
    QCOMPARE(h.dispatched[4].parameters, QStringList{"Hello World"});

    // What a body leaves unread does not leak into the next command.
    h.dispatched.clear();
    int seen = -1;
    h.bodies[IdOf("*RST")] = [&seen](Scpi* s) { seen = s->ParameterCount(); };
    h.Line(QStringLiteral("*RST a,b,c;*RST"));
    QCOMPARE(seen, 0);
}

void TestScpi::replyForms()
{
    Harness h;
    const int idn = IdOf("*IDN?");
    auto replyOf = [&h, idn](std::function<void(Scpi*)> body)
    {
        h.bodies[idn] = std::move(body);
        return h.Line(QStringLiteral("*IDN?"));
    };

    QCOMPARE(replyOf(
                 [](Scpi* s)
                 {
                     s->SubmitReply(QStringLiteral("a"));
                     s->SubmitReply("b");
                     s->SubmitReply(QString());
                 }),
             QByteArray("a,b,\n"));
    const QString degree = QString(QChar(0x00b0)) + QStringLiteral("C");
    QCOMPARE(replyOf([&degree](Scpi* s) { s->SubmitReply(degree); }), degree.toUtf8() + '\n');

    const int ints[] = {0, -1, 2147483647, -2147483647 - 1};
    for (int v : ints)
    {
        QCOMPARE(replyOf([v](Scpi* s) { s->SubmitReply(v); }).trimmed().toInt(), v);
    }
    QCOMPARE(replyOf(
                 [](Scpi* s)
                 {
                     s->SubmitReply(true);
                     s->SubmitReply(false);
                 }),
             QByteArray("1,0\n"));
    const double doubles[] = {0.0, 1e9, -1.25e-12, 3.141592653589793, 1.0 / 3.0};
    for (double v : doubles)
    {
        // The scalar form is the shortest exact text: it reads back to the same double.
        QCOMPARE(replyOf([v](Scpi* s) { s->SubmitReply(v); }).trimmed().toDouble(), v);
    }

    // Vector forms: ten significant digits, no separator in front of the first value.
    QVector<double> x, y;
    QVector<std::complex<double>> z;
    for (int i = 0; i < 50; ++i)
    {
        x.append(40e6 + i * 799.2e6);
        y.append(std::sin(i * 0.37) * std::pow(10.0, i % 7 - 3));
        z.append(std::complex<double>(std::cos(i * 0.1) / 3.0, -std::sin(i * 0.2) * 1e-4));
    }
    auto close = [](double a, double b) { return std::abs(a - b) <= 1e-9 * std::abs(b) + 1e-300; };
    QVector<double> got = Numbers(replyOf([&x](Scpi* s) { s->SubmitReply(x); }));
    QCOMPARE(got.size(), x.size());
    for (int i = 0; i < x.size(); ++i)
    {
        QVERIFY(close(got[i], x[i]));
    }
    got = Numbers(replyOf([&x, &y](Scpi* s) { s->SubmitReply(x, y); }));
    QCOMPARE(got.size(), 2 * x.size());
    for (int i = 0; i < x.size(); ++i)
    {
        QVERIFY(close(got[2 * i], x[i]) && close(got[2 * i + 1], y[i]));
    }
    got = Numbers(replyOf([&z](Scpi* s) { s->SubmitReply(z); }));
    QCOMPARE(got.size(), 2 * z.size());
    for (int i = 0; i < z.size(); ++i)
    {
        QVERIFY(close(got[2 * i], z[i].real()) && close(got[2 * i + 1], z[i].imag()));
    }
    // Ten digits, not more: a value needing more is rounded.
    QCOMPARE(replyOf([](Scpi* s) { s->SubmitReply(QVector<double>{1.0 / 3.0}); }),
             QByteArray("0.3333333333\n"));
    // The vector forms add no separator after earlier text, which is why bodies never mix them.
    QCOMPARE(replyOf(
                 [](Scpi* s)
                 {
                     s->SubmitReply("n");
                     s->SubmitReply(QVector<double>{2.0, 4.0});
                 }),
             QByteArray("n2,4\n"));
    // An empty vector answers nothing at all.
    QCOMPARE(replyOf([](Scpi* s) { s->SubmitReply(QVector<double>()); }), QByteArray());
}

void TestScpi::commitAndFlushKeepTheirQuirks()
{
    Harness h;
    h.bodies[IdOf("*IDN?")] = [](Scpi* s) { s->SubmitReply("ID"); };
    h.bodies[IdOf("*OPC?")] = [](Scpi* s) { s->SubmitReply(1); };

    QCOMPARE(h.Line(QStringLiteral("*IDN?;*OPC?")), QByteArray("ID;1\n"));
    // Silent commands before the first answer leave no place; after it, each leaves an empty one.
    QCOMPARE(h.Line(QStringLiteral("*RST;*IDN?")), QByteArray("ID\n"));
    QCOMPARE(h.Line(QStringLiteral("*RST;*RST;*IDN?")), QByteArray("ID\n"));
    QCOMPARE(h.Line(QStringLiteral("*IDN?;*RST")), QByteArray("ID;\n"));
    QCOMPARE(h.Line(QStringLiteral("*IDN?;*RST;*RST;*OPC?")), QByteArray("ID;;;1\n"));
    // A failed query or an unknown header shows only as an empty place.
    QCOMPARE(h.Line(QStringLiteral("*IDN?;:NOPE?;*OPC?")), QByteArray("ID;;1\n"));
    QCOMPARE(h.Line(QStringLiteral("*RST")), QByteArray());
    QCOMPARE(h.log.entries.last(), qMakePair(QStringLiteral("*RST"), false));
    DrainErrors();

    // The log gets each command line, then the reply trimmed; the socket gets it whole.
    h.log.entries.clear();
    h.bodies[IdOf("*IDN?")] = [](Scpi* s) { s->SubmitReply(" padded  "); };
    QCOMPARE(h.Line(QStringLiteral("*IDN?;*RST")), QByteArray(" padded  ;\n"));
    QCOMPARE(h.log.entries.size(), 2);
    QCOMPARE(h.log.entries[0], qMakePair(QStringLiteral("*IDN?;*RST"), false));
    QCOMPARE(h.log.entries[1], qMakePair(QStringLiteral("padded  ;"), true));

    // With no socket the reply is dropped, not kept for the next client.
    h.scpi.SetSocket(nullptr);
    h.scpi.SubmitInput(QStringLiteral("*IDN?\n"));
    h.scpi.SetSocket(&h.socket);
    QCOMPARE(h.Line(QStringLiteral("*OPC?")), QByteArray("1\n"));

    // Without a log nothing breaks.
    h.scpi.SetLog(nullptr);
    QCOMPARE(h.Line(QStringLiteral("*OPC?")), QByteArray("1\n"));
}

void TestScpi::lineAssembly()
{
    Harness h;
    h.bodies[IdOf("*IDN?")] = [](Scpi* s) { s->SubmitReply("ID"); };

    // A line waits for its line feed, across any number of reads; carriage returns vanish.
    h.scpi.SubmitInput(QStringLiteral("*I"));
    h.scpi.SubmitInput(QStringLiteral("D\rN"));
    QVERIFY(h.dispatched.isEmpty());
    QCOMPARE(h.socket.data(), QByteArray());
    h.scpi.SubmitInput(QStringLiteral("?\r\n*IDN?\n*ID"));
    QCOMPARE(h.dispatched.size(), 2);
    QCOMPARE(h.socket.data(), QByteArray("ID\nID\n"));
    h.scpi.SubmitInput(QStringLiteral("N?\n"));
    QCOMPARE(h.socket.data(), QByteArray("ID\nID\nID\n"));

    // Input arriving while a body waits (as *OPC? does) runs nested and is answered first.
    h.socket.buffer().clear();
    h.socket.seek(0);
    h.bodies[IdOf("*OPC?")] = [](Scpi* s)
    {
        s->SubmitInput(QStringLiteral("*IDN?\n"));
        s->SubmitReply(1);
    };
    h.scpi.SubmitInput(QStringLiteral("*OPC?\n"));
    QCOMPARE(h.socket.data(), QByteArray("ID\n1\n"));

    // An empty line is run and logged as empty.
    h.log.entries.clear();
    h.scpi.SubmitInput(QStringLiteral("\n\r\n"));
    QCOMPARE(h.log.entries.size(), 2);
    QCOMPARE(h.log.entries[0], qMakePair(QString(), false));
    QCOMPARE(h.dispatched.size(), 5);
    QCOMPARE(SysErr::GetErrorCount(), 0);
}

void TestScpi::exceptionInBodyDropsOnlyItsLine()
{
    Harness h;
    int thrown = 0;
    h.bodies[IdOf("*IDN?")] = [](Scpi* s) { s->SubmitReply("ID"); };
    h.bodies[IdOf("*RST")] = [&thrown](Scpi*)
    {
        ++thrown;
        throw std::runtime_error("body failed");
    };
    h.scpi.SubmitInput(QStringLiteral("*IDN?;*RST;*IDN?\n*IDN?\n"));
    QCOMPARE(thrown, 1);
    // The first line ends at the failing body; the next line runs and answers alone.
    QCOMPARE(h.Ids(), (QList<int>{IdOf("*IDN?"), IdOf("*IDN?")}));
    QCOMPARE(h.socket.data(), QByteArray("ID\n"));
    QCOMPARE(h.Line(QStringLiteral("*IDN?")), QByteArray("ID\n"));
}

void TestScpi::garbageNeverStopsTheParser()
{
    Harness h;
    h.bodies[IdOf("*IDN?")] = [](Scpi* s) { s->SubmitReply("ID"); };
    auto stillAnswers = [&h]() { return h.Line(QStringLiteral("*IDN?")).endsWith("ID\n"); };

    // Random bytes, line feeds and separators included, in reads of random size.
    QRandomGenerator rng(20261121);
    for (int round = 0; round < 200; ++round)
    {
        QByteArray bytes(static_cast<int>(rng.bounded(1, 400)), Qt::Uninitialized);
        for (char& b : bytes)
        {
            b = static_cast<char>(rng.bounded(256));
        }
        h.scpi.SubmitInput(QString::fromLatin1(bytes));
    }
    // Random printable commands built from real keywords, with suffixes and parameters.
    const char* const words[] = {":",  "SENS", "FREQ", "STAR", "?", "CALC", "MEAS", "MARK",
                                 "12", ";",    ",",    " ",    "&", "#",    "*IDN", "9999999999999",
                                 "\"", "#15ab"};
    for (int round = 0; round < 2000; ++round)
    {
        QString line;
        const int n = static_cast<int>(rng.bounded(1, 20));
        for (int i = 0; i < n; ++i)
        {
            line += QLatin1String(words[rng.bounded(static_cast<int>(std::size(words)))]);
        }
        h.scpi.SubmitInput(line + QLatin1Char('\n'));
    }
    QVERIFY(stillAnswers());

    // One megabyte without a line feed is held, then run as one (unknown) header.
    const QString huge(1 << 20, QLatin1Char('A'));
    h.scpi.SubmitInput(huge);
    h.scpi.SubmitInput(huge);
    h.scpi.SubmitInput(QStringLiteral("\n"));
    QVERIFY(stillAnswers());
    // A megabyte of digits as a suffix, and a header that is one megabyte of colons.
    h.scpi.SubmitInput(QStringLiteral(":SENS") + QString(1 << 20, QLatin1Char('7')) +
                       QStringLiteral(":FREQ:STAR 1\n"));
    h.scpi.SubmitInput(QString(1 << 20, QLatin1Char(':')) + QLatin1Char('\n'));
    QVERIFY(stillAnswers());

    // A NUL inside a header makes it unknown; it does not end the line.
    h.dispatched.clear();
    h.scpi.SubmitInput(QStringLiteral("*IDN") + QChar(0) + QStringLiteral("?;*RST\n"));
    QCOMPARE(h.Ids(), QList<int>{IdOf("*RST")});
    QVERIFY(stillAnswers());

    // A flood: many commands in one line, and many lines in one read, all answered.
    DrainErrors();
    const int n = 5000;
    QStringList commands;
    for (int i = 0; i < n; ++i)
    {
        commands.append(QStringLiteral("*IDN?"));
    }
    QCOMPARE(h.Line(commands.join(QLatin1Char(';'))).count("ID"), n);
    const qint64 before = h.socket.data().size();
    h.scpi.SubmitInput(commands.join(QLatin1Char('\n')) + QLatin1Char('\n'));
    QCOMPARE(h.socket.data().mid(static_cast<int>(before)).count("ID\n"), n);
    // A flood of errors fills the queue to its bound and no further.
    for (int i = 0; i < 3 * ErrorLog::kMaxRecords; ++i)
    {
        h.scpi.SubmitInput(QStringLiteral(":NOT:A:COMMAND\n"));
    }
    QCOMPARE(SysErr::GetErrorCount(), ErrorLog::kMaxRecords);
    QVERIFY(stillAnswers());
}

QTEST_GUILESS_MAIN(TestScpi)
#include "test_scpi.moc"

namespace
{
// Reads a definite-length block independently of the program: header digits, then each value
// assembled byte by byte in the stated order.
template <typename Float>
QVector<double> DecodeBlock(const QByteArray& reply, bool littleEndian, QByteArray* rest)
{
    QVector<double> values;
    if (reply.size() < 2 || reply[0] != '#')
    {
        return values;
    }
    const int digits = reply[1] - '0';
    const int length = reply.mid(2, digits).toInt();
    const int start = 2 + digits;
    for (int i = 0; i + int(sizeof(Float)) <= length; i += int(sizeof(Float)))
    {
        unsigned long long bits = 0;
        for (int b = 0; b < int(sizeof(Float)); ++b)
        {
            const int at = littleEndian ? int(sizeof(Float)) - 1 - b : b;
            bits = (bits << 8) | static_cast<unsigned char>(reply[start + i + at]);
        }
        Float f;
        if (sizeof(Float) == 8)
        {
            const quint64 w = bits;
            std::memcpy(&f, &w, sizeof f);
        }
        else
        {
            const quint32 w = quint32(bits);
            std::memcpy(&f, &w, sizeof f);
        }
        values.append(double(f));
    }
    *rest = reply.mid(start + length);
    return values;
}
}  // namespace

void TestScpi::dataRepliesAsBlocks()
{
    Harness h;
    const QVector<double> values = {1e9, -0.5, 1.0 / 3.0, 0.0, 2.5e-300, 10.0};
    const QVector<std::complex<double>> cplx = {{1.0 / 7.0, -2.0}, {0.0, 1e-12}};
    QVector<double> cplxFlat;
    for (const auto& v : cplx)
    {
        cplxFlat << v.real() << v.imag();
    }
    h.bodies[IdOf(":CALCulate#:MEASure#:DATA:X?")] = [&](Scpi* s) { s->SubmitData(values); };
    h.bodies[IdOf(":CALCulate#:MEASure#:DATA:SDATA?")] = [&](Scpi* s) { s->SubmitData(cplx); };
    h.bodies[IdOf(":CALCulate#:MEASure#:DATA:FDATA?")] = [&](Scpi* s)
    { s->SubmitData(values.mid(0, 3), values.mid(3, 3)); };
    h.bodies[IdOf(":CALCulate#:MEASure#:MARKer#:X?")] = [&](Scpi* s) { s->SubmitData(values[2]); };
    h.bodies[IdOf("*IDN?")] = [](Scpi* s) { s->SubmitReply("ID"); };
    const QByteArray asciiX = h.Line(QStringLiteral(":CALC:MEAS1:DATA:X?"));
    QCOMPARE(asciiX, QByteArray("1000000000,-0.5,0.3333333333,0,2.5e-300,10\n"));
    // A single value prints exactly (the shortest text that reads back to the same double).
    const QByteArray markerText = h.Line(QStringLiteral(":CALC:MEAS1:MARK:X?"));
    QVERIFY(markerText.endsWith('\n') && !markerText.contains(','));
    QCOMPARE(markerText.trimmed().toDouble(), values[2]);

    const QVector<double> pairs = {values[0], values[3], values[1],
                                   values[4], values[2], values[5]};
    for (ScpiDataFormat format : {ScpiDataFormat::Real64, ScpiDataFormat::Real32})
    {
        for (bool swapped : {false, true})
        {
            h.scpi.SetDataFormat(format);
            h.scpi.SetSwappedByteOrder(swapped);
            const int width = format == ScpiDataFormat::Real64 ? 8 : 4;
            auto decode = [&](const QByteArray& reply, QByteArray* rest)
            {
                return width == 8 ? DecodeBlock<double>(reply, swapped, rest)
                                  : DecodeBlock<float>(reply, swapped, rest);
            };
            auto expected = [&](const QVector<double>& v)
            {
                QVector<double> out;
                for (double d : v)
                {
                    out << (width == 8 ? d : double(float(d)));
                }
                return out;
            };
            QByteArray rest;
            const QByteArray x = h.Line(QStringLiteral(":CALC:MEAS1:DATA:X?"));
            const QByteArray length = QByteArray::number(values.size() * width);
            QVERIFY(x.startsWith("#" + QByteArray::number(length.size()) + length));
            QCOMPARE(decode(x, &rest), expected(values));
            QCOMPARE(rest, QByteArray("\n"));
            QCOMPARE(decode(h.Line(QStringLiteral(":CALC:MEAS1:DATA:SDATA?")), &rest),
                     expected(cplxFlat));
            QCOMPARE(decode(h.Line(QStringLiteral(":CALC:MEAS1:DATA:FDATA?")), &rest),
                     expected(pairs));
            QCOMPARE(decode(h.Line(QStringLiteral(":CALC:MEAS1:MARK:X?")), &rest),
                     expected({values[2]}));
            // A block in a compound line is followed by the other replies.
            QCOMPARE(decode(h.Line(QStringLiteral(":CALC:MEAS1:DATA:X?;*IDN?")), &rest),
                     expected(values));
            QCOMPARE(rest, QByteArray(";ID\n"));
        }
    }
    // An empty vector is an empty block; other replies stay text.
    h.bodies[IdOf(":CALCulate#:MEASure#:DATA:X?")] = [](Scpi* s)
    { s->SubmitData(QVector<double>()); };
    QCOMPARE(h.Line(QStringLiteral(":CALC:MEAS1:DATA:X?;*IDN?")), QByteArray("#10;ID\n"));
    h.scpi.SetDataFormat(ScpiDataFormat::Ascii);
    QCOMPARE(h.Line(QStringLiteral(":CALC:MEAS1:DATA:X?;*IDN?")), QByteArray("ID\n"));
}

void TestScpi::heldCommandsRunInOrderOnRelease()
{
    Harness h;
    h.bodies[IdOf("*IDN?")] = [](Scpi* s) { s->SubmitReply("ID"); };
    h.bodies[IdOf("*WAI")] = [](Scpi* s) { s->Hold(); };
    // The replies before the hold stay with their line; nothing behind it runs yet, not even
    // the relative header, which after a common command starts from the root.
    QCOMPARE(h.Line(QStringLiteral("*IDN?;*WAI;*IDN?;:SENS2:FREQ:STAR 1;STOP 2")), QByteArray());
    QVERIFY(h.scpi.Held());
    h.scpi.SubmitInput(QStringLiteral("*IDN?\n*ID"));
    h.scpi.SubmitInput(QStringLiteral("N?;*WAI\n:SYST:VER?\n"));
    QCOMPARE(h.Ids(), (QList<int>{IdOf("*IDN?"), IdOf("*WAI")}));
    QCOMPARE(h.socket.data(), QByteArray());

    h.scpi.Release();
    // The rest of the first line, the second line, and the third up to its own hold.
    QCOMPARE(h.socket.data(), QByteArray("ID;;ID;;\nID\n"));
    QVERIFY(h.scpi.Held());
    QCOMPARE(h.dispatched.size(), 8);
    QCOMPARE(h.dispatched[4].suffixes, (QList<int>{-2}));  // STOP: no suffix written
    QCOMPARE(h.dispatched[3].suffixes, (QList<int>{2}));
    h.scpi.Release();
    QCOMPARE(h.socket.data(), QByteArray("ID;;ID;;\nID\nID;\n"));
    QCOMPARE(h.Ids().last(), IdOf(":SYSTem:VERsion?"));
    QVERIFY(!h.scpi.Held());
    h.scpi.Release();  // nothing held: nothing happens
    QCOMPARE(h.Ids().size(), 9);

    // A client that leaves while held takes everything with it.
    h.Line(QStringLiteral("*WAI;*IDN?"));
    h.scpi.SubmitInput(QStringLiteral("*IDN?\n"));
    h.scpi.Discard();
    h.scpi.Release();
    QCOMPARE(h.Ids().size(), 10);
    QCOMPARE(SysErr::GetErrorCount(), 0);
}

void TestScpi::errorCodesSetTheirEventBits()
{
    // The 488.2 hundreds, whatever the units.
    for (int code = -100; code > -500; code -= 7)
    {
        const int hundreds = -code / 100;
        const int bit = hundreds == 1 ? 5 : hundreds == 2 ? 4 : hundreds == 3 ? 3 : 2;
        QCOMPARE(int(ScpiStatus::EventForError(code)), 1 << bit);
    }
    QCOMPARE(int(ScpiStatus::EventForError(UndefinedHeader)), 32);
    QCOMPARE(int(ScpiStatus::EventForError(InvalidParameter)), 32);
    QCOMPARE(int(ScpiStatus::EventForError(TooFewParameters)), 32);
    QCOMPARE(int(ScpiStatus::EventForError(InvalidIndex)), 16);
    QCOMPARE(int(ScpiStatus::EventForError(InvalidOperation)), 16);
    QCOMPARE(int(ScpiStatus::EventForError(CommandLineError)), 8);
    QCOMPARE(int(ScpiStatus::EventForError(0)), 0);

    // The status byte from its parts, for every pair of masks on a few registers.
    for (int esr : {0, 1, 48, 255})
    {
        for (int ese = 0; ese < 256; ese += 17)
        {
            for (int sre = 0; sre < 256; sre += 29)
            {
                for (bool queue : {false, true})
                {
                    ScpiStatus st;
                    st.SetEvent(std::uint8_t(esr));
                    st.SetEventEnable(ese);
                    st.SetServiceRequestEnable(sre);
                    int stb = (queue ? 4 : 0) | ((esr & ese) ? 32 : 0);
                    stb |= (stb & sre & ~64) ? 64 : 0;
                    QCOMPARE(st.StatusByte(queue), stb);
                    QCOMPARE(st.ServiceRequestEnable(), sre & ~64);
                }
            }
        }
    }
    ScpiStatus st;
    st.RecordError(UndefinedHeader);
    st.RecordError(InvalidIndex);
    QCOMPARE(st.TakeEvents(), 48);
    QCOMPARE(st.TakeEvents(), 0);
}
