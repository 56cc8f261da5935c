// The committed command reference must be what the generator makes from the table and the
// program's bodies now, and its status column must say what the program really does.
#include <QBuffer>
#include <QFile>
#include <QtTest>

#include "error_log.h"
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "test_fixtures.h"
#include "vna_lib.h"

class TestScpiDoc : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void committedReferenceMatchesTheProgram();
    void everyCommandBelongsToOneFamily();
    void commandsNotYetBuiltSayUnsupported();
};

void TestScpiDoc::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiEnabled = false;
    Hidden::Set(true);
}

void TestScpiDoc::committedReferenceMatchesTheProgram()
{
    QFile file(QStringLiteral(VNA_SOURCE_DIR "/docs/scpi.md"));
    QVERIFY2(file.open(QIODevice::ReadOnly), "docs/scpi.md is missing");
    const QString committed = QString::fromUtf8(file.readAll());
    const QString generated = scpiCommandReference(scpiBodyStatus);
    if (committed != generated)
    {
        // Point at the first differing line so the drift is easy to find.
        const QStringList a = committed.split(QLatin1Char('\n'));
        const QStringList b = generated.split(QLatin1Char('\n'));
        int line = 0;
        while (line < a.size() && line < b.size() && a[line] == b[line])
        {
            ++line;
        }
        QFAIL(qPrintable(QStringLiteral("docs/scpi.md differs at line %1; regenerate it with "
                                        "gen_scpi_doc docs/scpi.md")
                             .arg(line + 1)));
    }
    // Every row of the table is in the reference, by id, pattern and status.
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const ScpiCommand& c = scpiCommands[i];
        const QString row =
            QStringLiteral("| %1 | `%2` |").arg(c.id).arg(QString::fromLatin1(c.pattern));
        QVERIFY2(committed.contains(row), c.pattern);
        QVERIFY2(committed.contains(QRegularExpression(
                     QRegularExpression::escape(row) + QStringLiteral(".*\\| ") +
                     QRegularExpression::escape(scpiBodyStatus(c.id)) + QStringLiteral(" \\|\\n"))),
                 c.pattern);
    }
}

void TestScpiDoc::everyCommandBelongsToOneFamily()
{
    const QVector<const ScpiFamily*> families = {
        &scpiSystemFamily(),      &scpiStimulusFamily(),   &scpiDisplayFamily(),
        &scpiMeasurementFamily(), &scpiMarkerFamily(),     &scpiLimitFamily(),
        &scpiTimeDomainFamily(),  &scpiCorrectionFamily(), &scpiFixtureFamily(),
        &scpiPresetFamily(),      &scpiStatusFamily()};
    auto covers = [](const ScpiFamily& f, int id)
    {
        for (const auto& r : f.ids)
        {
            if (id >= r.first && id <= r.second)
            {
                return true;
            }
        }
        return false;
    };
    QSet<int> tableIds;
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const int id = scpiCommands[i].id;
        tableIds.insert(id);
        int owners = 0;
        for (const ScpiFamily* f : families)
        {
            owners += covers(*f, id) ? 1 : 0;
        }
        QVERIFY2(owners == 1, qPrintable(QString::number(id)));
    }
    // A body is registered once, for a command of the table, in the family that covers it.
    QSet<int> bodies;
    for (const ScpiFamily* f : families)
    {
        for (const ScpiBodyRow& row : f->bodies)
        {
            QVERIFY2(tableIds.contains(row.id), qPrintable(QString::number(row.id)));
            QVERIFY2(covers(*f, row.id), qPrintable(QString::number(row.id)));
            QVERIFY2(!bodies.contains(row.id), qPrintable(QString::number(row.id)));
            QVERIFY(row.body != nullptr);
            bodies.insert(row.id);
        }
    }
}

void TestScpiDoc::commandsNotYetBuiltSayUnsupported()
{
    VnaLib none;
    MainWindow window(nullptr, &none);
    Scpi scpi;
    QBuffer out;
    out.open(QIODevice::ReadWrite);
    scpi.SetSocket(&out);
    int dispatched = -1;
    scpi.SetCallbackFunction(
        [&](Scpi* cmd)
        {
            dispatched = cmd->GetCommandId();
            window.SCPIHandleCommand(cmd);
        });
    int notYet = 0;
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const ScpiCommand& c = scpiCommands[i];
        if (scpiBodyStatus(c.id) == QLatin1String("built"))
        {
            continue;
        }
        ++notYet;
        // The pattern as a client would write it, every suffix given.
        const QString header = QString::fromLatin1(c.pattern)
                                   .remove(QLatin1Char('&'))
                                   .replace(QLatin1Char('#'), QLatin1Char('1'));
        SysErr::ClearErrors();
        scpi.Input(header);
        QCOMPARE(dispatched, c.id);
        QCOMPARE(SysErr::GetErrorCount(), 1);
        QCOMPARE(SysErr::GetNextErrorAsString(), QStringLiteral("-5,Unsupported;") + header);
    }
    // Nothing was answered for them.
    QVERIFY(out.data().isEmpty());
    qInfo("%d commands wait for their features", notYet);
    window.close();
}

QTEST_MAIN(TestScpiDoc)
#include "test_scpi_doc.moc"
