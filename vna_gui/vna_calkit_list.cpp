#include "vna_calkit_list.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>

#include "application_settings.h"

namespace
{
const QString kSystemFolder = QStringLiteral(":/resources/calkits/");
const QString kSuffix = QStringLiteral(".skt");

QString Tr(const char* text)
{
    return QCoreApplication::translate("VNACalKitList", text);
}

QVector<CalKitListEntry> EntriesIn(const QString& folder, bool system)
{
    QVector<CalKitListEntry> entries;
    const QDir dir(folder);
    for (const QFileInfo& f :
         dir.entryInfoList(QStringList{QStringLiteral("*.skt")}, QDir::Files, QDir::Name))
    {
        entries.append({f.completeBaseName(), f.filePath(), system});
    }
    return entries;
}

bool IsSystemName(const QString& name)
{
    for (const CalKitListEntry& e : EntriesIn(kSystemFolder, true))
    {
        if (e.name.compare(name, Qt::CaseInsensitive) == 0)
        {
            return true;
        }
    }
    return false;
}

// A file that holds a kit: one with the kit group (a file without it would load as an empty kit).
bool LoadKitFile(const QString& path, VNACalKit& kit)
{
    if (!QFileInfo(path).isFile())
    {
        return false;
    }
    ApplicationSettings settings(path);
    return settings.childGroups().contains(QStringLiteral("CalKit")) && kit.Load(settings);
}

bool WriteKitFile(const VNACalKit& kit, const QString& path)
{
    QByteArray bytes;
    return SettingsToBytes([&](ApplicationSettings& s) { kit.Save(s); }, bytes) &&
           SaveFileWhole(path, bytes);
}
}  // namespace

QString GetUserCalKitFolder()
{
    QString dir = GetProgramDataPath() + QStringLiteral("calkits/");
    {
        ApplicationSettings settings(GetPreferencesIniPath());
        settings.Load(QStringLiteral("DefaultUserCalKitDirectory"), dir);
    }
    if (dir.isEmpty())
    {
        dir = GetProgramDataPath() + QStringLiteral("calkits/");
    }
    if (!dir.endsWith(QLatin1Char('/')))
    {
        dir += QLatin1Char('/');
    }
    QDir().mkpath(dir);
    return dir;
}

QVector<CalKitListEntry> ReadCalKitList()
{
    QVector<CalKitListEntry> list = EntriesIn(kSystemFolder, true);
    const int systemCount = list.size();
    for (const CalKitListEntry& user : EntriesIn(GetUserCalKitFolder(), false))
    {
        const bool taken = std::any_of(list.cbegin(), list.cbegin() + systemCount,
                                       [&](const CalKitListEntry& e) {
                                           return e.name.compare(user.name, Qt::CaseInsensitive) ==
                                                  0;
                                       });
        if (!taken)
        {
            list.append(user);
        }
    }
    std::stable_sort(list.begin(), list.end(),
                     [](const CalKitListEntry& a, const CalKitListEntry& b)
                     { return a.name.compare(b.name, Qt::CaseInsensitive) < 0; });
    return list;
}

QStringList CalKitNames()
{
    QStringList names;
    for (const CalKitListEntry& e : ReadCalKitList())
    {
        names.append(e.name);
    }
    return names;
}

bool FindCalKit(const QString& name, CalKitListEntry& entry)
{
    for (const CalKitListEntry& e : ReadCalKitList())
    {
        if (e.name == name)
        {
            entry = e;
            return true;
        }
    }
    return false;
}

bool GetCalKitFromName(const QString& name, VNACalKit& kit)
{
    CalKitListEntry entry;
    VNACalKit loaded;
    if (!FindCalKit(name, entry) || !LoadKitFile(entry.path, loaded))
    {
        return false;
    }
    loaded.CalKitName = entry.name;
    kit = loaded;
    return true;
}

bool CheckUserCalKitName(const QString& name, const QString& previousName, QString& error)
{
    if (name.isEmpty() || !IsValidFileName(name))
    {
        error = Tr("\"%1\" is not a valid kit name: use letters, digits, blanks inside, "
                   "\"_\", \"-\", \"(\" and \")\".")
                    .arg(name);
        return false;
    }
    if (IsSystemName(name))
    {
        error = Tr("\"%1\" is the name of a system kit.").arg(name);
        return false;
    }
    CalKitListEntry existing;
    if (FindCalKit(name, existing) && name != previousName)
    {
        error = Tr("A calibration kit named \"%1\" already exists.").arg(name);
        return false;
    }
    return true;
}

bool SaveUserCalKit(const VNACalKit& kit, const QString& previousName, QString& error)
{
    if (!CheckUserCalKitName(kit.CalKitName, previousName, error))
    {
        return false;
    }
    const QString path = GetUserCalKitFolder() + kit.CalKitName + kSuffix;
    if (!WriteKitFile(kit, path))
    {
        error = Tr("Unable to write %1.").arg(path);
        return false;
    }
    CalKitListEntry previous;
    if (!previousName.isEmpty() && previousName != kit.CalKitName &&
        FindCalKit(previousName, previous) && !previous.system)
    {
        QFile::remove(previous.path);
    }
    return true;
}

bool DeleteUserCalKit(const QString& name, QString& error)
{
    CalKitListEntry entry;
    if (!FindCalKit(name, entry))
    {
        error = Tr("There is no calibration kit named \"%1\".").arg(name);
        return false;
    }
    if (entry.system)
    {
        error = Tr("System calibration kits cannot be changed or deleted.");
        return false;
    }
    if (!QFile::remove(entry.path))
    {
        error = Tr("Unable to delete %1.").arg(entry.path);
        return false;
    }
    return true;
}

bool ImportCalKit(const QString& path, QString& name, QString& error)
{
    VNACalKit kit;
    if (!LoadKitFile(path, kit))
    {
        error = Tr("%1 is not a calibration kit file.").arg(path);
        return false;
    }
    kit.CalKitName = QFileInfo(path).completeBaseName();
    if (!SaveUserCalKit(kit, QString(), error))
    {
        return false;
    }
    name = kit.CalKitName;
    return true;
}

bool ExportCalKit(const QString& name, const QString& path, QString& error)
{
    VNACalKit kit;
    if (!GetCalKitFromName(name, kit))
    {
        error = Tr("There is no calibration kit named \"%1\".").arg(name);
        return false;
    }
    if (!WriteKitFile(kit, path))
    {
        error = Tr("Unable to write %1.").arg(path);
        return false;
    }
    return true;
}

QString CalKitCopyName(const QString& name)
{
    const QString base = Tr("Copy of %1").arg(name);
    QString candidate = base;
    QString unused;
    for (int n = 2; !CheckUserCalKitName(candidate, QString(), unused) && n < 1000; ++n)
    {
        candidate = QStringLiteral("%1 (%2)").arg(base).arg(n);
    }
    return candidate;
}
