#include "calkit_list.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

#include "application_settings.h"

namespace
{
const char* const kSystemKitFolder = ":/resources/calkits";

void AppendKits(const QString& folder, bool system, QVector<CalKitInfo>& out)
{
    const QDir dir(folder);
    for (const QFileInfo& f :
         dir.entryInfoList({QStringLiteral("*.skt")}, QDir::Files | QDir::Readable, QDir::Name))
    {
        out.append({f.completeBaseName(), f.filePath(), system});
    }
}
}  // namespace

QString GetUserCalKitDirectory()
{
    QString dir;
    {
        ApplicationSettings settings(GetPreferencesIniPath());
        settings.Load(QStringLiteral("DefaultUserCalKitDirectory"), dir);
    }
    if (dir.isEmpty() || !QFileInfo(dir).isDir())
    {
        dir = GetProgramDataPath() + QStringLiteral("calkits/");
        QDir().mkpath(dir);
    }
    return dir;
}

QVector<CalKitInfo> ReadCalKitInfo()
{
    QVector<CalKitInfo> kits;
    AppendKits(QString::fromLatin1(kSystemKitFolder), true, kits);
    AppendKits(GetUserCalKitDirectory(), false, kits);
    std::stable_sort(kits.begin(), kits.end(),
                     [](const CalKitInfo& a, const CalKitInfo& b)
                     { return a.name.compare(b.name, Qt::CaseInsensitive) < 0; });
    return kits;
}

bool GetCalKitFromName(const QString& name, VNACalKit& kit)
{
    for (const CalKitInfo& info : ReadCalKitInfo())
    {
        if (info.name == name)
        {
            VNACalKit loaded;
            if (!LoadCalKit(info.path, loaded))
            {
                return false;
            }
            loaded.CalKitName = info.name;
            kit = loaded;
            return true;
        }
    }
    return false;
}
