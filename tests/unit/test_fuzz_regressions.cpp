// Replays every input the fuzz harnesses once broke (tests/data/fuzz-regressions/<harness>/)
// and their seed corpora through the same code the harnesses run, so a fixed fault stays fixed
// in an ordinary build, without clang or libFuzzer.
#include <QDir>
#include <QFile>
#include <QtTest>

#include "fuzz_inputs.h"
#include "scpi_body.h"
#include "test_fixtures.h"

namespace
{
// Every file of a folder, by name.
QList<QPair<QString, QByteArray>> Inputs(const QString& folder)
{
    QList<QPair<QString, QByteArray>> inputs;
    const QDir dir(folder);
    for (const QString& name : dir.entryList(QDir::Files, QDir::Name))
    {
        QFile f(dir.filePath(name));
        if (f.open(QIODevice::ReadOnly))
        {
            inputs.append({name, f.readAll()});
        }
    }
    return inputs;
}

const uint8_t* Bytes(const QByteArray& b)
{
    return reinterpret_cast<const uint8_t*>(b.constData());
}
}  // namespace

class TestFuzzRegressions : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    }
    void replay_data();
    void replay();
};

void TestFuzzRegressions::replay_data()
{
    QTest::addColumn<QString>("harness");
    QTest::addColumn<QString>("folder");
    // Kept findings live in the source tree; the folder exists even before the first finding of
    // a harness, so a missing folder means a broken checkout, not a clean record.
    const QString findings = QStringLiteral(VNA_SOURCE_DIR "/tests/data/fuzz-regressions/");
    QVERIFY2(QDir(findings).exists(), qPrintable(findings));
    const QString seeds = QStringLiteral(VNA_SOURCE_DIR "/fuzz/corpus/");
    for (const char* harness :
         {"touchstone", "scpi", "text_parsers", "calkit", "calibration", "limits", "equations",
          "factory_cal", "ucal_block", "ucal_reply", "state"})
    {
        const QString name = QString::fromLatin1(harness);
        QTest::newRow(qPrintable("seeds " + name)) << name << seeds + name;
        if (QDir(findings + name).exists())
        {
            QTest::newRow(qPrintable("findings " + name)) << name << findings + name;
        }
    }
}

void TestFuzzRegressions::replay()
{
    QFETCH(QString, harness);
    QFETCH(QString, folder);
    const auto inputs = Inputs(folder);
    // An empty folder would pass without testing anything.
    QVERIFY2(!inputs.isEmpty(), qPrintable(folder));
    Scpi scpi;
    scpi.SetCallbackFunction(MakeScpiFuzzBody());
    for (const auto& input : inputs)
    {
        const QByteArray& b = input.second;
        bool consistent = false;
        if (harness == QLatin1String("touchstone"))
            consistent = fuzzinputs::Touchstone(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("scpi"))
            consistent = fuzzinputs::Scpi(scpi, Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("calkit"))
            consistent = fuzzinputs::CalKit(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("calibration"))
            consistent = fuzzinputs::Calibration(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("limits"))
            consistent = fuzzinputs::LimitTables(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("equations"))
            consistent = fuzzinputs::Equations(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("factory_cal"))
            consistent = fuzzinputs::FactoryCalBlock(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("ucal_block"))
            consistent = fuzzinputs::UCalBlock(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("ucal_reply"))
            consistent = fuzzinputs::UCalReply(Bytes(b), size_t(b.size()));
        else if (harness == QLatin1String("state"))
            consistent = fuzzinputs::StateFile(Bytes(b), size_t(b.size()));
        else
            consistent = fuzzinputs::TextParsers(Bytes(b), size_t(b.size()));
        QVERIFY2(consistent, qPrintable(input.first));
    }
}

QTEST_GUILESS_MAIN(TestFuzzRegressions)
#include "test_fuzz_regressions.moc"
