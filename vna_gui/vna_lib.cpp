#include "vna_lib.h"

#include <QDebug>
#include <QLibrary>

const VnaLib& VnaLib::Get()
{
    static const VnaLib lib = []
    {
        VnaLib l;
        l.Load(QStringLiteral("vna_api"));
        return l;
    }();
    return lib;
}

bool VnaLib::Load(const QString& libraryName)
{
    // The library stays loaded for the life of the process; QLibrary's destructor does not unload.
    QLibrary library(libraryName);
    if (!library.load())
    {
        loadError = library.errorString();
        return false;
    }
    bool all = true;
#define VNA_API_RESOLVE(ret, name, args)                           \
    name = reinterpret_cast<name##_t>(library.resolve(#name));     \
    if (!name)                                                     \
    {                                                              \
        all = false;                                               \
        loadError += QStringLiteral("missing symbol " #name "; "); \
    }
    VNA_API_FUNCTIONS(VNA_API_RESOLVE)
#undef VNA_API_RESOLVE
    if (!all)
    {
        // A partial library is treated as none at all.
#define VNA_API_CLEAR(ret, name, args) name = nullptr;
        VNA_API_FUNCTIONS(VNA_API_CLEAR)
#undef VNA_API_CLEAR
        qDebug() << "Device library incomplete:" << loadError;
        return false;
    }
    available = true;
    return true;
}
