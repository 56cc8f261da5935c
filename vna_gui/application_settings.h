// The one persistence mechanism: INI files with typed vectors, plus where the program keeps files.
#pragma once

#include <QHash>
#include <QList>
#include <QMap>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <QVector>
#include <complex>
#include <functional>

class ApplicationSettings : public QSettings
{
    Q_OBJECT
public:
    // Reads the file once and keeps its values in memory; nothing is written until a key
    // changes. Sync() and the destructor then merge the changed keys into the file as it stands
    // on disk (so two stores on one file keep each other's changes) through a temporary file in
    // the same folder, which replaces the file only once it reads back whole: a failed or short
    // write (a full disk) leaves the old file untouched. The file keeps its permissions.
    explicit ApplicationSettings(const QString& fileName, QObject* parent = nullptr);
    // Replace starts empty and writes the file whole, without reading what it held: for files
    // that are always written anew, such as instrument states.
    // ReadOnly reads the file and never writes it back, nor compares what it holds on the way
    // out: for large files that are only read.
    enum Mode
    {
        Merge,
        Replace,
        ReadOnly
    };
    ApplicationSettings(const QString& fileName, Mode mode, QObject* parent = nullptr);
    ApplicationSettings(Scope scope, const QString& organization, const QString& application,
                        QObject* parent = nullptr);
    ~ApplicationSettings() override;

    QString FileName() const;
    QString BaseName() const;

    void Clear() { clear(); }
    void Remove(const QString& key) { remove(key); }
    void BeginGroup(const QString& name) { beginGroup(name); }
    void EndGroup() { endGroup(); }
    void BeginWriteArray(const QString& name, int size = -1) { beginWriteArray(name, size); }
    int BeginReadArray(const QString& name) { return beginReadArray(name); }
    void SetArrayIndex(int i) { setArrayIndex(i); }
    void EndArray() { endArray(); }
    // Writes the changes so far; called with no group open.
    void Sync() { Commit(); }
    // NoError, or AccessError when the last write could not be put in place.
    Status WriteStatus() const;

    QVariant Load(const QString& key) const { return value(key); }

    template <typename T>
    void Save(const QString& key, const T& v)
    {
        setValue(key, QVariant::fromValue(v));
    }

    // A missing key leaves `v` as it was: every caller's defaults rely on it. A stored value that
    // does not convert reads as T's null value (0 for a number given text).
    template <typename T>
    void Load(const QString& key, T& v) const
    {
        v = value(key, QVariant::fromValue(v)).template value<T>();
    }

    void Save(const QString& key, const QVector<double>& v);
    void Load(const QString& key, QVector<double>& v) const;
    // Complex vectors are narrowed to float pairs on purpose: files stay small, precision is float.
    void Save(const QString& key, const QVector<std::complex<double>>& v);
    void Load(const QString& key, QVector<std::complex<double>>& v) const;

    void SaveList(const QString& key, const QList<int>& list);
    void LoadList(const QString& key, QList<int>& list);

    // Widens every long float-pair byte array ahead of use: a later Load() of such a complex
    // vector, on whatever thread, then only shares the result. For a store that is read on one
    // thread and applied on another; the store must not change afterwards.
    void PrepareComplexVectors();

private:
    using Values = QMap<QString, QVariant>;

    static QString MemoryOnlyName();
    static QString ScratchName(const QString& target);
    Values Snapshot() const;
    bool Commit();
    bool WriteMerged(const Values& changed, const QStringList& removed);
    // Every key of an INI file as QSettings reads it; `ok` false when the file could not be read.
    static Values ReadValues(const QString& path, bool* ok = nullptr);
    static bool WriteValues(const QString& path, const Values& values);

    QString target;  // the file the caller named; empty for settings found by scope
    Values written;  // what the file held, as far as this store knows: changes are measured here
    bool commitFailed = false;
    Mode mode = Merge;
    // Widened vectors by the storage of the byte array they came from.
    QHash<const char*, QVector<std::complex<double>>> prepared;
};

QString GetMyDocumentsPath();
QString GetProgramDataPath();
QString GetPreferencesIniPath();
QString GetFactoryCalFolder();
QString GetFactoryCalFileName(int serial);
QString GetManualsDir();

// Remembered folders for the file dialogs, one key per kind of file.
QString GetDefaultUserDirectory(const QString& key);
void SetDefaultUserDirectory(const QString& key, const QString& path);

bool IsValidFileName(const QString& name);

// Replaces the file at `path` with `contents` whole, or leaves whatever stood there untouched
// and returns false.
bool SaveFileWhole(const QString& path, const QByteArray& contents);

// Settings as bytes, for files that travel as a whole (a kit exported, a calibration on the
// instrument's flash). write fills a store on a private scratch file; bytes is the file it gives.
bool SettingsToBytes(const std::function<void(ApplicationSettings&)>& write, QByteArray& bytes);
// read runs on a store over bytes, held in a private scratch file of the given name (loaders take
// names from it). False when the scratch file cannot be made.
bool SettingsFromBytes(const QByteArray& bytes, const QString& fileName,
                       const std::function<void(ApplicationSettings&)>& read);
