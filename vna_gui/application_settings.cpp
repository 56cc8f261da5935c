#include "application_settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <atomic>
#include <cstdio>

#include "signal_ops.h"

ApplicationSettings::ApplicationSettings(const QString& fileName, QObject* parent)
    : QSettings(PrepareWorkingCopy(fileName), QSettings::IniFormat, parent), target(fileName)
{
}

ApplicationSettings::~ApplicationSettings()
{
    Commit();
    if (!target.isEmpty() && fileName() != target)
    {
        QFile::remove(fileName());
    }
}

QString ApplicationSettings::PrepareWorkingCopy(const QString& target)
{
    // Unique per object, in the same folder so that the final rename replaces the file at once.
    static std::atomic<int> counter{0};
    const QString work =
        target +
        QStringLiteral(".~%1-%2").arg(QCoreApplication::applicationPid()).arg(counter.fetch_add(1));
    QFile::remove(work);
    if (QFileInfo::exists(target) && !QFile::copy(target, work))
    {
        return target;  // no room for a copy: work on the file itself, as plain settings do
    }
    return work;
}

bool ApplicationSettings::ReadsBackWhole(const QString& path) const
{
    // Every key, with its value: a short write loses the tail or cuts a value. The file is read
    // under a name no other settings object uses, so it comes from disk and not from the cache
    // that objects on the same file share.
    const QSettings check(path, QSettings::IniFormat);
    const QStringList keys = allKeys();
    if (check.status() != NoError || check.allKeys() != keys)
    {
        return false;
    }
    for (const QString& key : keys)
    {
        const QVariant mine = value(key);
        const QVariant theirs = check.value(key);
        const bool same = mine.type() == QVariant::ByteArray
                              ? theirs.toByteArray() == mine.toByteArray()
                              : theirs.toString() == mine.toString();
        if (!same)
        {
            return false;
        }
    }
    return true;
}

bool ApplicationSettings::Commit()
{
    sync();
    commitFailed = false;
    const QString work = fileName();
    if (target.isEmpty() || work == target)
    {
        return status() == NoError;
    }
    if (status() != NoError || !QFileInfo::exists(work))
    {
        return status() == NoError;  // nothing written, or QSettings reported the failure
    }
    // A checked copy goes in place; the working copy stays for later changes.
    static std::atomic<int> counter{0};
    const QString staged = work + QStringLiteral("~%1").arg(counter.fetch_add(1));
    QFile::remove(staged);
    const bool ok = QFile::copy(work, staged) && ReadsBackWhole(staged) &&
                    std::rename(QFile::encodeName(staged).constData(),
                                QFile::encodeName(target).constData()) == 0;
    if (!ok)
    {
        QFile::remove(staged);
        commitFailed = true;
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

void ApplicationSettings::Save(const QString& key, const QVector<std::complex<double>>& v)
{
    QByteArray bytes(v.size() * 2 * int(sizeof(float)), Qt::Uninitialized);
    sig::Convert(reinterpret_cast<const double*>(v.constData()),
                 reinterpret_cast<float*>(bytes.data()), 2 * v.size());
    setValue(key, bytes);
}

void ApplicationSettings::Load(const QString& key, QVector<std::complex<double>>& v) const
{
    const QByteArray bytes = value(key, QByteArray()).toByteArray();
    if (bytes.size() > 0)
    {
        const int n = bytes.size() / int(2 * sizeof(float));
        // Copy first: the byte array's storage is not guaranteed to be float-aligned.
        QVector<float> floats(2 * n);
        memcpy(floats.data(), bytes.constData(), size_t(2 * n) * sizeof(float));
        v.resize(n);
        sig::Convert(floats.constData(), reinterpret_cast<double*>(v.data()), 2 * n);
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
    return QStringLiteral("file:///") + QCoreApplication::applicationDirPath() +
           QStringLiteral("/../manuals/");
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
