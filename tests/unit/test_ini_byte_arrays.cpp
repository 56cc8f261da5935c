// The settings store writes and reads large byte arrays with its own code: the files must be
// exactly what QSettings writes, and read exactly as QSettings reads them.
#include <QFile>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include "application_settings.h"
#include "ini_byte_arrays.h"
#include "test_fixtures.h"

namespace
{
using Values = QMap<QString, QVariant>;

QByteArray FileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Byte arrays that reach every escape and the places where one escape changes the next byte's:
// a hex digit after a hex or NUL escape, quotes forced by ';', ',' or '=', spaces at the ends.
Values Samples()
{
    Values v;
    QByteArray all;
    for (int c = 0; c < 256; ++c)
    {
        all.append(char(c));
    }
    v.insert(QStringLiteral("Data/AllBytes"), all);
    const QByteArray digits = "0123456789abcdefABCDEFgG ";
    QByteArray pairs;
    for (int c = 0; c < 256; ++c)
    {
        for (char d : digits)
        {
            pairs.append(char(c)).append(d);
        }
    }
    v.insert(QStringLiteral("Data/Pairs"), pairs);
    QRandomGenerator rng(20261122);
    for (int i = 0; i < 40; ++i)
    {
        // From mostly printable to mostly not, as float data is.
        QByteArray bytes(64 + int(rng.bounded(3000)), Qt::Uninitialized);
        const int spread = 1 + i % 4;
        for (char& b : bytes)
        {
            b = spread == 1 ? char(0x20 + rng.bounded(0x5F)) : char(rng.bounded(256));
        }
        if (i % 5 == 0)
        {
            bytes[bytes.size() - 1] = ' ';
            bytes[0] = ' ';
        }
        if (i % 7 == 0)
        {
            bytes.replace(',', 'x').replace(';', 'y').replace('=', 'z');
        }
        v.insert(QStringLiteral("Channels/%1/Channel/Vector%2").arg(i % 3).arg(i), bytes);
    }
    // Keys the store leaves to QSettings: at the root, with escaped characters, short values.
    v.insert(QStringLiteral("RootBytes"), QByteArray(100, '\x01'));
    v.insert(QStringLiteral("General/Bytes"), QByteArray(100, '\x02'));
    v.insert(QStringLiteral("Odd Group/Key one"), QByteArray(100, '\x03'));
    v.insert(QStringLiteral("Data/Short"), QByteArray("\x00\x01"
                                                      "1",
                                                      3));
    v.insert(QStringLiteral("Data/Text"), QStringLiteral("@ByteArray(not bytes), a list"));
    v.insert(QStringLiteral("Data/Number"), 2.5);
    return v;
}
}  // namespace

class TestIniByteArrays : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void sameTextAsQSettings();
    void damagedText();
};

void TestIniByteArrays::sameTextAsQSettings()
{
    QTemporaryDir dir;
    const QString ours = dir.filePath(QStringLiteral("ours.ini"));
    const QString theirs = dir.filePath(QStringLiteral("theirs.ini"));
    const Values values = Samples();
    {
        QSettings q(theirs, QSettings::IniFormat);
        ApplicationSettings a(ours, ApplicationSettings::Replace);
        for (auto it = values.constBegin(); it != values.constEnd(); ++it)
        {
            q.setValue(it.key(), *it);
            a.setValue(it.key(), *it);
        }
    }
    QCOMPARE(FileBytes(ours), FileBytes(theirs));
    // Reading took every large value out of the text but those QSettings files at the root.
    QByteArray rest;
    QMap<QString, QByteArray> large;
    ini::ExtractByteArrays(FileBytes(theirs), 64, rest, large);
    QStringList expected;
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
    {
        if (it->type() == QVariant::ByteArray && it->toByteArray().size() >= 64 &&
            it.key().contains(QLatin1Char('/')) && !it.key().startsWith(QLatin1String("General")))
        {
            expected.append(it.key());
        }
    }
    QCOMPARE(large.keys(), expected);

    // Reading: the store against QSettings on the same file, and against what was written.
    const QSettings q(theirs, QSettings::IniFormat);
    const ApplicationSettings a(theirs);
    QCOMPARE(a.allKeys(), q.allKeys());
    for (const QString& key : q.allKeys())
    {
        QCOMPARE(a.value(key), q.value(key));
    }
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
    {
        if (it->type() == QVariant::ByteArray)
        {
            QCOMPARE(a.value(it.key()).toByteArray(), it->toByteArray());
        }
    }
}

void TestIniByteArrays::damagedText()
{
    // Text that is not plainly a byte array (a stray quote, comma or backslash, an escape past
    // one byte, a missing parenthesis) must read as QSettings reads it.
    const QByteArray bytes(200, 'a');
    const QByteArray good = ini::EscapeByteArray(bytes);
    const QList<QByteArray> damaged = {
        good,
        "@ByteArray(" + bytes + "\\x1ff)",
        "@ByteArray(" + bytes + "\\777)",
        "@ByteArray(" + bytes + ",b)",
        "@ByteArray(" + bytes + "\"b)",
        "@ByteArray(" + bytes + "\\q)",
        "@ByteArray(" + bytes,
        "\"@ByteArray(" + bytes + ";)\"",
        "@ByteArray(" + bytes + "\\",
        "@ByteArray(" + bytes + "\t)",
    };
    QTemporaryDir dir;
    for (int i = 0; i < damaged.size(); ++i)
    {
        const QString path = dir.filePath(QStringLiteral("d%1.ini").arg(i));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Group]\nsub\\key=" + damaged[i] + "\nother=1\n");
        file.close();
        const QSettings q(path, QSettings::IniFormat);
        const ApplicationSettings a(path);
        QCOMPARE(a.allKeys(), q.allKeys());
        for (const QString& key : q.allKeys())
        {
            QCOMPARE(a.value(key), q.value(key));
        }
    }
}

QTEST_GUILESS_MAIN(TestIniByteArrays)
#include "test_ini_byte_arrays.moc"
