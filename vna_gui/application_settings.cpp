#include "application_settings.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>
#include <atomic>
#include <cstdio>
#include <iterator>
#include <limits>
#include <thread>
#include <vector>

#include "ini_byte_arrays.h"
#include "signal_ops.h"

namespace
{
// Two values are the same setting when they would be written as the same text: a value read
// from a file is text (or bytes) while the one a caller stored may be a number.
bool SameValue(const QVariant& a, const QVariant& b)
{
    if (a.userType() == b.userType())
    {
        return a == b;
    }
    if (a.type() == QVariant::ByteArray || b.type() == QVariant::ByteArray)
    {
        return a.toByteArray() == b.toByteArray();
    }
    if (a.type() == QVariant::StringList || b.type() == QVariant::StringList)
    {
        return a.toStringList() == b.toStringList();
    }
    return a.toString() == b.toString();
}

// Every key of `path` with its value equal to `expected`. The file is read under a name no
// other settings object has used, so it comes from disk and not from the cache that settings
// objects on one file share.
bool ReadsBackWhole(const QString& path, const QMap<QString, QVariant>& expected)
{
    const QSettings check(path, QSettings::IniFormat);
    const QStringList keys = check.allKeys();
    if (check.status() != QSettings::NoError || keys.size() != expected.size())
    {
        return false;
    }
    for (const QString& key : keys)
    {
        const auto it = expected.constFind(key);
        if (it == expected.constEnd() || !SameValue(check.value(key), *it))
        {
            return false;
        }
    }
    return true;
}

// Byte arrays this long or longer are read and written by our own code; QSettings takes the
// rest. Short ones are not worth the detour.
constexpr int kLargeByteArray = 64;

// The contents of an INI text as QSettings reads them.
QMap<QString, QVariant> ParseIni(const QByteArray& text)
{
    QMap<QString, QVariant> values;
    QByteArray rest;
    QMap<QString, QByteArray> large;
    ini::ExtractByteArrays(text, kLargeByteArray, rest, large);
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("rest.ini"));
    QFile file(path);
    if (!dir.isValid() || !file.open(QIODevice::WriteOnly) || file.write(rest) != rest.size())
    {
        return values;
    }
    file.close();
    const QSettings reader(path, QSettings::IniFormat);
    for (const QString& key : reader.allKeys())
    {
        values.insert(key, reader.value(key));
    }
    for (auto it = large.constBegin(); it != large.constEnd(); ++it)
    {
        values.insert(it.key(), *it);
    }
    return values;
}

bool FlushToDisk(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && ::fsync(file.handle()) == 0;
}
}  // namespace

ApplicationSettings::ApplicationSettings(const QString& fileName, QObject* parent)
    : ApplicationSettings(fileName, Merge, parent)
{
}

ApplicationSettings::ApplicationSettings(const QString& fileName, Mode mode, QObject* parent)
    : QSettings(MemoryOnlyName(), QSettings::IniFormat, parent), target(fileName), mode(mode)
{
    // QSettings itself would write its file back whenever a key changed, with a writer that
    // takes a short write for success; it therefore holds the values under a name that cannot
    // be a file, and Commit() does the writing.
    if (mode == Replace)
    {
        return;
    }
    written = ReadValues(target);
    for (auto it = written.constBegin(); it != written.constEnd(); ++it)
    {
        setValue(it.key(), *it);
    }
}

ApplicationSettings::ApplicationSettings(Scope scope, const QString& organization,
                                         const QString& application, QObject* parent)
    : QSettings(QSettings::IniFormat, scope, organization, application, parent)
{
}

ApplicationSettings::~ApplicationSettings()
{
    // Changes are measured over every key, so the comparison starts from the root.
    while (!group().isEmpty())
    {
        endGroup();
    }
    Commit();
}

QString ApplicationSettings::MemoryOnlyName()
{
    // Below a device node no folder can be made, so QSettings' own sync finds it unwritable and
    // gives up before touching the disk. Unique, so that no two stores share QSettings' cache.
    static std::atomic<int> counter{0};
    return QStringLiteral("/dev/null/settings-%1.ini").arg(counter.fetch_add(1));
}

QString ApplicationSettings::ScratchName(const QString& target)
{
    // In the target's folder, so that the final rename replaces the file in one step.
    static std::atomic<int> counter{0};
    return target + QStringLiteral(".~%1-%2")
                        .arg(QCoreApplication::applicationPid())
                        .arg(counter.fetch_add(1));
}

ApplicationSettings::Values ApplicationSettings::Snapshot() const
{
    Values values;
    for (const QString& key : allKeys())
    {
        values.insert(key, value(key));
    }
    return values;
}

QSettings::Status ApplicationSettings::WriteStatus() const
{
    if (target.isEmpty())
    {
        return status();
    }
    return commitFailed ? AccessError : NoError;
}

bool ApplicationSettings::Commit()
{
    if (mode == ReadOnly)
    {
        return true;
    }
    if (target.isEmpty())
    {
        sync();
        return status() == NoError;
    }
    if (!group().isEmpty())
    {
        // Inside a group only part of the keys can be seen: the rest would count as removed.
        qWarning("ApplicationSettings: Sync() inside group %s ignored", qPrintable(group()));
        return false;
    }
    const Values now = Snapshot();
    Values changed;
    for (auto it = now.constBegin(); it != now.constEnd(); ++it)
    {
        const auto old = written.constFind(it.key());
        if (old == written.constEnd() || !SameValue(*old, *it))
        {
            changed.insert(it.key(), *it);
        }
    }
    QStringList removed;
    for (auto it = written.constBegin(); it != written.constEnd(); ++it)
    {
        if (!now.contains(it.key()))
        {
            removed.append(it.key());
        }
    }
    if (changed.isEmpty() && removed.isEmpty())
    {
        commitFailed = false;
        return true;  // a store that changed nothing writes nothing
    }
    commitFailed = !WriteMerged(changed, removed);
    if (!commitFailed)
    {
        written = now;
    }
    return !commitFailed;
}

ApplicationSettings::Values ApplicationSettings::ReadValues(const QString& path, bool* ok)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        if (ok)
        {
            *ok = !file.exists();
        }
        return Values();
    }
    // Mapped rather than read: a state file runs to hundreds of megabytes.
    const qint64 size = file.size();
    uchar* mapped =
        size > 0 && size < std::numeric_limits<int>::max() ? file.map(0, size) : nullptr;
#ifdef MADV_POPULATE_READ
    // Mapping every page in one step is cheaper than a fault for every few pages in the scan.
    if (mapped)
    {
        ::madvise(mapped, size_t(size), MADV_POPULATE_READ);
    }
#endif
    const QByteArray text =
        mapped ? QByteArray::fromRawData(reinterpret_cast<const char*>(mapped), int(size))
               : file.readAll();
    if (ok)
    {
        *ok = file.error() == QFile::NoError;
    }
    return ParseIni(text);
}

bool ApplicationSettings::WriteValues(const QString& path, const Values& values)
{
    // QSettings writes the small values; the large byte arrays go in afterwards, in QSettings'
    // own text form, in place of the empty ones standing for them.
    Values small = values;
    QMap<QString, QByteArray> large;
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
    {
        if (it->type() == QVariant::ByteArray && it->toByteArray().size() >= kLargeByteArray &&
            ini::PlainKey(it.key()))
        {
            large.insert(it.key(), it->toByteArray());
            small[it.key()] = QByteArray();
        }
    }
    const QString work = ScratchName(path);
    bool ok = true;
    {
        QSettings writer(work, QSettings::IniFormat);
        for (auto it = small.constBegin(); it != small.constEnd(); ++it)
        {
            writer.setValue(it.key(), *it);
        }
        writer.sync();
        ok = writer.status() == NoError;
    }
    // QSettings may take a short write for success: its file must read back whole.
    ok = ok && ReadsBackWhole(work, small);
    // With no keys QSettings writes no file at all: the result is then an empty file.
    QFile text(work);
    QFile out(path);
    ok = ok && (text.open(QIODevice::ReadOnly) || !text.exists()) &&
         out.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered) &&
         ini::InsertByteArrays(text.isOpen() ? text.readAll() : QByteArray(), large, out);
    out.close();
    QFile::remove(work);
    return ok && FlushToDisk(path);
}

bool ApplicationSettings::WriteMerged(const Values& changed, const QStringList& removed)
{
    // As QSettings would, make the folder first. Then one writer at a time per file, across
    // processes too, so that none merges into a file another is about to replace.
    QDir().mkpath(QFileInfo(target).absolutePath());
    QLockFile lock(target + QStringLiteral(".lock"));
    if (!lock.tryLock(10000))
    {
        return false;
    }
    // The mode bits themselves: QFile's permission flags add the owner's write bit for root.
    struct stat original = {};
    const bool existed = ::stat(QFile::encodeName(target).constData(), &original) == 0;
    bool ok = true;
    // The file as it is now, unless this store replaces it whole: a read that came up short
    // would lose keys.
    Values merged = mode == Replace ? Values() : ReadValues(target, &ok);
    for (const QString& key : removed)
    {
        merged.remove(key);
    }
    for (auto it = changed.constBegin(); it != changed.constEnd(); ++it)
    {
        merged.insert(it.key(), *it);
    }
    const QString staged = ScratchName(target);
    ok =
        ok && WriteValues(staged, merged) &&
        (!existed || ::chmod(QFile::encodeName(staged).constData(), original.st_mode & 07777) == 0);
    // The file replaced is freed, all its cached pages with it, when its last reference goes:
    // for a state file of hundreds of megabytes that is a fifth of a save. Held open here, it
    // goes on a thread of its own once the new file is in place.
    const int replaced =
        ok && existed && S_ISREG(original.st_mode)
            ? ::open(QFile::encodeName(target).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)
            : -1;
    ok = ok && std::rename(QFile::encodeName(staged).constData(),
                           QFile::encodeName(target).constData()) == 0;
    if (replaced >= 0)
    {
        std::thread([replaced] { ::close(replaced); }).detach();
    }
    if (!ok)
    {
        QFile::remove(staged);
    }
    return ok;
}

QString ApplicationSettings::FileName() const
{
    return QFileInfo(target.isEmpty() ? fileName() : target).fileName();
}

QString ApplicationSettings::BaseName() const
{
    return QFileInfo(target.isEmpty() ? fileName() : target).baseName();
}

void ApplicationSettings::Save(const QString& key, const QVector<double>& v)
{
    const QByteArray bytes(reinterpret_cast<const char*>(v.constData()),
                           v.size() * int(sizeof(double)));
    setValue(key, bytes);
}

void ApplicationSettings::Load(const QString& key, QVector<double>& v) const
{
    const QByteArray bytes = value(key, QByteArray()).toByteArray();
    if (bytes.size() > 0)
    {
        const int n = bytes.size() / int(sizeof(double));
        v.resize(n);
        memcpy(v.data(), bytes.constData(), size_t(n) * sizeof(double));
    }
}

namespace
{
// Narrows n values; a long vector on two threads, since writing fresh memory costs more here
// than the conversion itself.
void NarrowOnTwoThreads(const double* src, float* dst, int n)
{
    constexpr int kTwoThreadSize = 1 << 16;
    if (n < kTwoThreadSize)
    {
        sig::Convert(src, dst, n);
        return;
    }
    const int half = n / 2;
    std::thread second([=] { sig::Convert(src + half, dst + half, n - half); });
    sig::Convert(src, dst, half);
    second.join();
}
}  // namespace

void ApplicationSettings::Save(const QString& key, const QVector<std::complex<double>>& v)
{
    QByteArray bytes(v.size() * 2 * int(sizeof(float)), Qt::Uninitialized);
    ini::PrefaultForWriting(bytes.data(), size_t(bytes.size()));
    NarrowOnTwoThreads(reinterpret_cast<const double*>(v.constData()),
                       reinterpret_cast<float*>(bytes.data()), 2 * v.size());
    setValue(key, bytes);
}

namespace
{
// Reads float pairs as complex doubles, for building a vector in one pass.
struct WideningIterator
{
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::complex<double>;
    using difference_type = std::ptrdiff_t;
    using pointer = const value_type*;
    using reference = value_type;

    const std::complex<float>* at;

    value_type operator*() const { return value_type(*at); }
    WideningIterator& operator++()
    {
        ++at;
        return *this;
    }
    WideningIterator operator++(int)
    {
        WideningIterator before = *this;
        ++at;
        return before;
    }
    bool operator==(const WideningIterator& other) const { return at == other.at; }
    bool operator!=(const WideningIterator& other) const { return at != other.at; }
};

// The float pairs of `bytes` as complex doubles in `v`, whose storage is reused when it is its
// own and large enough. Built in one pass, into new pages mapped in one step: resizing first
// would write every value twice.
void WidenFloatPairs(const QByteArray& bytes, QVector<std::complex<double>>& v)
{
    const int n = bytes.size() / int(sizeof(std::complex<float>));
    if (reinterpret_cast<quintptr>(bytes.constData()) % alignof(std::complex<float>) != 0)
    {
        // A byte array's storage is not promised to be float-aligned: then copy first.
        QByteArray aligned(n * int(sizeof(std::complex<float>)), Qt::Uninitialized);
        memcpy(aligned.data(), bytes.constData(), size_t(aligned.size()));
        WidenFloatPairs(aligned, v);
        return;
    }
    if (v.capacity() < n || !v.isDetached())
    {
        v = QVector<std::complex<double>>();
        v.reserve(n);
        ini::PrefaultForWriting(v.data(), size_t(n) * sizeof(std::complex<double>));
    }
    else
    {
        v.clear();  // keeps the storage
    }
    const auto* pairs = reinterpret_cast<const std::complex<float>*>(bytes.constData());
    std::copy(WideningIterator{pairs}, WideningIterator{pairs + n}, std::back_inserter(v));
}
}  // namespace

void ApplicationSettings::Load(const QString& key, QVector<std::complex<double>>& v) const
{
    const QByteArray bytes = value(key, QByteArray()).toByteArray();
    if (bytes.size() > 0)
    {
        const auto ready = prepared.constFind(bytes.constData());
        if (ready != prepared.constEnd() &&
            ready->size() == bytes.size() / int(sizeof(std::complex<float>)))
        {
            v = *ready;
            return;
        }
        WidenFloatPairs(bytes, v);
    }
}

void ApplicationSettings::PrepareComplexVectors()
{
    // Short vectors are quick to widen where they are used.
    constexpr int kPreparedSize = 1 << 14;
    std::vector<QByteArray> sources;
    for (const QString& key : allKeys())
    {
        const QVariant v = value(key);
        if (v.type() != QVariant::ByteArray)
        {
            continue;
        }
        const QByteArray bytes = v.toByteArray();
        if (bytes.size() >= kPreparedSize && bytes.size() % int(2 * sizeof(float)) == 0 &&
            reinterpret_cast<quintptr>(bytes.constData()) % alignof(float) == 0 &&
            !prepared.contains(bytes.constData()))
        {
            prepared.insert(bytes.constData(), {});
            sources.push_back(bytes);
        }
    }
    // Two threads, each vector whole on one: most of the time goes to the first writes into
    // the new vectors' memory, which the two cores then share.
    std::vector<QVector<std::complex<double>>> widened(sources.size());
    std::atomic<size_t> next{0};
    const auto work = [&]
    {
        for (size_t i = next++; i < sources.size(); i = next++)
        {
            WidenFloatPairs(sources[i], widened[i]);
        }
    };
    std::thread second(work);
    work();
    second.join();
    for (size_t i = 0; i < sources.size(); ++i)
    {
        prepared[sources[i].constData()] = widened[i];
    }
}

void ApplicationSettings::SaveList(const QString& key, const QList<int>& list)
{
    beginWriteArray(key, list.size());
    for (int i = 0; i < list.size(); ++i)
    {
        setArrayIndex(i);
        setValue(QString::number(i), list.at(i));
    }
    endArray();
}

void ApplicationSettings::LoadList(const QString& key, QList<int>& list)
{
    const int n = beginReadArray(key);
    list.clear();
    for (int i = 0; i < n; ++i)
    {
        setArrayIndex(i);
        list.append(value(QString::number(i)).toInt());
    }
    endArray();
}

QString GetMyDocumentsPath()
{
    QString path = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    path += QStringLiteral("/Kestrix/");
    QDir().mkdir(path);
    path += QStringLiteral("vna/");
    QDir().mkdir(path);
    return path;
}

QString GetProgramDataPath()
{
    QString path = QStandardPaths::writableLocation(QStandardPaths::HomeLocation);
    Q_ASSERT(path.length() > 0);
    path += QStringLiteral("/.kestrix/");
    QDir().mkdir(path);
    return path;
}

QString GetPreferencesIniPath()
{
    return GetMyDocumentsPath() + QStringLiteral("Preferences.ini");
}

QString GetFactoryCalFolder()
{
    const QString path = GetProgramDataPath() + QStringLiteral("cal_files/");
    QDir().mkdir(path);
    return path;
}

QString GetFactoryCalFileName(int serial)
{
    return GetFactoryCalFolder() + QString::asprintf("nvx400_%8d.vnacal", serial);
}

QString GetManualsDir()
{
    // A URL on every system: pasting "file:///" before an absolute Unix path would give four
    // slashes, which names a network share.
    return QUrl::fromLocalFile(QCoreApplication::applicationDirPath() +
                               QStringLiteral("/../manuals/"))
        .toString();
}

QString GetDefaultUserDirectory(const QString& key)
{
    ApplicationSettings settings(GetPreferencesIniPath());
    QString dir = GetMyDocumentsPath();
    settings.Load(key, dir);
    if (dir.isEmpty() || !QFileInfo(dir).isDir())
    {
        dir = GetMyDocumentsPath();
    }
    return dir;
}

void SetDefaultUserDirectory(const QString& key, const QString& path)
{
    ApplicationSettings settings(GetPreferencesIniPath());
    settings.Save(key, path);
}

bool IsValidFileName(const QString& name)
{
    if (name.isEmpty())
    {
        return true;
    }
    if (name.front().isSpace() || name.back().isSpace())
    {
        return false;
    }
    for (const QChar c : name)
    {
        const ushort u = c.unicode();
        const bool asciiAlnum = (u < 128) && (c.isLetterOrNumber());
        const bool nonAsciiAlnum = (u >= 128) && c.isLetterOrNumber();
        const bool allowed = asciiAlnum || nonAsciiAlnum || c.isSpace() || c == '_' || c == '-' ||
                             c == '(' || c == ')';
        if (!allowed)
        {
            return false;
        }
    }
    return true;
}

bool SaveFileWhole(const QString& path, const QByteArray& contents)
{
    // Unbuffered, so that a short write (a full disk) shows in write()'s count: QSaveFile in
    // Qt 5.15 commits a buffered file even when the flush at commit could not write it all.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
    {
        return false;
    }
    // Without a commit the temporary file is discarded.
    return file.write(contents) == contents.size() && file.commit();
}

bool SettingsToBytes(const std::function<void(ApplicationSettings&)>& write, QByteArray& bytes)
{
    const QTemporaryDir dir;
    if (!dir.isValid())
    {
        return false;
    }
    const QString path = dir.filePath(QStringLiteral("contents.ini"));
    {
        ApplicationSettings settings(path);
        write(settings);
        while (!settings.group().isEmpty())
        {
            settings.EndGroup();
        }
        settings.Sync();
        if (settings.WriteStatus() != QSettings::NoError)
        {
            return false;
        }
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        bytes.clear();  // a store that wrote nothing leaves no file: no bytes
        return !file.exists();
    }
    bytes = file.readAll();
    return true;
}

bool SettingsFromBytes(const QByteArray& bytes, const QString& fileName,
                       const std::function<void(ApplicationSettings&)>& read)
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(fileName);
    if (!dir.isValid() || !SaveFileWhole(path, bytes))
    {
        return false;
    }
    ApplicationSettings settings(path);
    read(settings);
    return true;
}
