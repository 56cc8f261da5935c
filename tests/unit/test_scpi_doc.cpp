// The committed command reference must be what the generator makes from the table now.
#include <QFile>
#include <QtTest>

#include "scpi_def.h"

class TestScpiDoc : public QObject
{
    Q_OBJECT
private slots:
    void committedReferenceMatchesTheTable();
};

void TestScpiDoc::committedReferenceMatchesTheTable()
{
    QFile file(QStringLiteral(VNA_SOURCE_DIR "/docs/scpi.md"));
    QVERIFY2(file.open(QIODevice::ReadOnly), "docs/scpi.md is missing");
    const QString committed = QString::fromUtf8(file.readAll());
    const QString generated = scpiCommandReference();
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
    // Every row of the table is in the reference, by id and pattern.
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const QString row = QStringLiteral("| %1 | `%2` |")
                                .arg(scpiCommands[i].id)
                                .arg(QString::fromLatin1(scpiCommands[i].pattern));
        QVERIFY2(committed.contains(row), scpiCommands[i].pattern);
    }
}

QTEST_GUILESS_MAIN(TestScpiDoc)
#include "test_scpi_doc.moc"
