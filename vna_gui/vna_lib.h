// Run-time binding of the instrument library. When the library or any one of its operations is
// missing, every call behaves as "no instrument attached" and nothing is called through null.
#pragma once

#include <QString>

#include "vna_api.h"

class VnaLib
{
public:
#define VNA_API_POINTER(ret, name, args) \
    using name##_t = ret(*) args;        \
    name##_t name = nullptr;
    VNA_API_FUNCTIONS(VNA_API_POINTER)
#undef VNA_API_POINTER

    // The process-wide binding, loaded on first use.
    static const VnaLib& Get();

    bool Available() const
    {
        return available;
    }
    QString LoadError() const
    {
        return loadError;
    }

    // Binds from a given file or library name; used by Get() with "vna_api" and by tests.
    bool Load(const QString& libraryName);

private:
    bool available = false;
    QString loadError;
};
