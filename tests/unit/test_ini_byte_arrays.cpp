// The settings store writes and reads large byte arrays with its own code: the files must be
// exactly what QSettings writes, and read exactly as QSettings reads them.
#include <QFile>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>
#include <complex>
#include <thread>

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
    // Long vectors are escaped in two halves at once: the cut falls inside hex digits after a hex
    // or NUL escape, inside hex digits after a plain character, and just after a byte that needs
    // quotes.
    const QList<QByteArray> middles = {QByteArray("\x80"
                                                  "12ab",
                                                  5),
                                       QByteArray("x12ab"),
                                       QByteArray("\0"
                                                  "fF",
                                                  3),
                                       QByteArray("ab;"),
                                       QByteArray("\x1f"
                                                  "0",
                                                  2)};
    for (int i = 0; i < middles.size(); ++i)
    {
        QByteArray bytes(70000 + i, Qt::Uninitialized);
        for (char& b : bytes)
        {
            b = char(rng.bounded(i == 3 ? 0x20 : 256) + (i == 3 ? 0x40 : 0));
        }
        bytes.replace(bytes.size() / 2 - 2, middles[i].size(), middles[i]);
        v.insert(QStringLiteral("Data/Long%1").arg(i), bytes);
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
    void blockDecoderAgrees();
    void largeTextAroundItsMiddle();
    void preparedComplexVectors();
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
    // Each damage at the end of a plain value, and amid a long one full of escapes, where many
    // characters are decoded at once.
    const QByteArray bytes(200, 'a');
    const QByteArray good = ini::EscapeByteArray(bytes);
    QList<QByteArray> damaged = {
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
    QRandomGenerator rng(11);
    QByteArray noisy(3000, Qt::Uninitialized);
    for (char& b : noisy)
    {
        b = char(rng.bounded(256));
    }
    noisy.replace(',', '.').replace(';', '.').replace('=', '.');
    const QByteArray text = ini::EscapeByteArray(noisy);
    QVERIFY(!text.startsWith('"'));
    const int cut = text.indexOf("\\x", text.size() / 2);
    for (const QByteArray& damage :
         {QByteArray("\\x1ff"), QByteArray("\\777"), QByteArray(",b"), QByteArray("\"b"),
          QByteArray("\\q"), QByteArray("\t"), QByteArray("\\x"),
          QByteArray("\\0"
                     "12"),
          QByteArray(")\n"), QByteArray("\\\\\\")})
    {
        damaged.append(text.left(cut) + damage + text.mid(cut));
    }
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

void TestIniByteArrays::blockDecoderAgrees()
{
    // The decoder that takes many characters at once must agree with the one that takes one at
    // a time, on sound text and on text damaged anywhere, where the two hand over as well. (On a
    // processor without the block decoder both are the same.)
    QRandomGenerator rng(5);
    const QList<QByteArray> pieces = {"\\",   "x",    "\\x",    "0",     "7",     "f",   "F",
                                      "g",    "\"",   ",",      ";",     "\t",    ")",   "\\0",
                                      "\\\\", "\x80", "\\x1ff", "\\012", "\\x0f", "\\?", "\\q"};
    const QByteArray tricky(
        "\\\"\0\x01"
        "0123456789abcdefx\x7f\xff",
        23);
    for (int round = 0; round < 4000; ++round)
    {
        QByteArray bytes(int(rng.bounded(1, 600)), Qt::Uninitialized);
        const int kind = round % 3;
        for (char& b : bytes)
        {
            b = kind == 0   ? char(rng.bounded(256))
                : kind == 1 ? tricky[int(rng.bounded(tricky.size()))]
                            : char(0x20 + rng.bounded(0x5F));
        }
        QByteArray text = ini::EscapeByteArray(bytes);
        const bool damage = round % 2 == 1;
        for (int k = 0; damage && k < 1 + round % 3; ++k)
        {
            const int at = 11 + int(rng.bounded(text.size() - 11));
            const QByteArray& piece = pieces[int(rng.bounded(pieces.size()))];
            switch (rng.bounded(3))
            {
                case 0:
                    text.insert(at, piece);
                    break;
                case 1:
                    text.replace(at, 1, piece);
                    break;
                default:
                    text.remove(at, 1);
                    break;
            }
        }
        QByteArray fast, portable;
        const bool fastRead =
            ini::UnescapeByteArray(text.constBegin(), text.constEnd(), fast, ini::Decoder::Fastest);
        const bool portableRead = ini::UnescapeByteArray(text.constBegin(), text.constEnd(),
                                                         portable, ini::Decoder::Portable);
        QCOMPARE(fastRead, portableRead);
        if (fastRead)
        {
            QCOMPARE(fast, portable);
        }
        if (!damage)
        {
            QVERIFY(fastRead);
            QCOMPARE(fast, bytes);
        }
    }
}

void TestIniByteArrays::largeTextAroundItsMiddle()
{
    // Texts over a megabyte are read in two halves at once, the second half from a line feed
    // near the middle. Whatever stands around that point (a quote or backslash carrying a line
    // over the break, a comment, a section header, a stray line feed) must read as QSettings
    // reads it, keys before the first header of the second half in the section of the first.
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("large.ini"));
    QRandomGenerator rng(20261123);
    {
        QSettings q(path, QSettings::IniFormat);
        for (int i = 0; i < 600; ++i)
        {
            QByteArray bytes(2000, Qt::Uninitialized);
            for (char& b : bytes)
            {
                b = char(rng.bounded(256));
            }
            const char* group = i < 200 ? "A/x" : i < 500 ? "B" : "C/y";
            q.setValue(QStringLiteral("%1/k%2").arg(QLatin1String(group)).arg(i), bytes);
            q.setValue(QStringLiteral("%1/t%2").arg(QLatin1String(group)).arg(i),
                       QStringLiteral("text %1").arg(i));
        }
    }
    const QByteArray clean = FileBytes(path);
    QVERIFY(clean.size() > 2 * 1024 * 1024);
    const QList<QByteArray> inserts = {"\"", "\\", ";", "\n", "\n[D]\n", "=", "\\\n"};
    for (int round = 0; round < 24; ++round)
    {
        QByteArray text = clean;
        if (round > 0)
        {
            // Near the middle, and right at the line feeds the halves are cut at.
            const int middle = text.size() / 2;
            int at = middle - 3000 + int(rng.bounded(6000));
            if (round % 3 == 0)
            {
                at = text.indexOf('\n', middle) + int(rng.bounded(3)) - 1;
            }
            text.insert(at, inserts[round % inserts.size()]);
        }
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(text), qint64(text.size()));
        file.close();
        const QSettings q(path, QSettings::IniFormat);
        const ApplicationSettings a(path, ApplicationSettings::ReadOnly);
        QCOMPARE(a.allKeys(), q.allKeys());
        for (const QString& key : q.allKeys())
        {
            QVERIFY2(a.value(key) == q.value(key),
                     qPrintable(QStringLiteral("round %1, key %2").arg(round).arg(key)));
        }
    }
}

void TestIniByteArrays::preparedComplexVectors()
{
    // A store read on one thread widens its vectors there; the vectors then read from it are
    // the ones an unprepared store gives, and are shared rather than widened again.
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vectors.ini"));
    QRandomGenerator rng(7);
    QVector<std::complex<double>> longOne(4001);
    for (auto& c : longOne)
    {
        c = {rng.generateDouble() - 0.5, 1e-3 * rng.generateDouble()};
    }
    const QVector<std::complex<double>> shortOne(longOne.mid(0, 11));
    {
        ApplicationSettings s(path, ApplicationSettings::Replace);
        s.BeginWriteArray(QStringLiteral("Channels"), 2);
        for (int i = 0; i < 2; ++i)
        {
            s.SetArrayIndex(i);
            s.Save(QStringLiteral("Data"), i == 0 ? longOne : shortOne);
        }
        s.EndArray();
        s.Save(QStringLiteral("Other/Text"), QStringLiteral("x"));
    }
    ApplicationSettings plain(path, ApplicationSettings::ReadOnly);
    ApplicationSettings prepared(path, ApplicationSettings::ReadOnly);
    std::thread([&] { prepared.PrepareComplexVectors(); }).join();
    for (int i = 0; i < 2; ++i)
    {
        QVector<std::complex<double>> a, b, again;
        plain.BeginReadArray(QStringLiteral("Channels"));
        plain.SetArrayIndex(i);
        plain.Load(QStringLiteral("Data"), a);
        plain.EndArray();
        prepared.BeginReadArray(QStringLiteral("Channels"));
        prepared.SetArrayIndex(i);
        prepared.Load(QStringLiteral("Data"), b);
        prepared.Load(QStringLiteral("Data"), again);
        prepared.EndArray();
        QCOMPARE(a.size(), i == 0 ? longOne.size() : shortOne.size());
        QVERIFY(a == b);
        QCOMPARE(b.constData() == again.constData(), i == 0);  // only the long one is kept
        for (int k = 0; k < a.size(); ++k)
        {
            const auto& source = i == 0 ? longOne : shortOne;
            QCOMPARE(a[k], std::complex<double>(std::complex<float>(source[k])));
        }
    }
}

QTEST_GUILESS_MAIN(TestIniByteArrays)
#include "test_ini_byte_arrays.moc"
