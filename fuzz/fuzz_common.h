// The entry-point side of the harnesses: one application object and a trap on a broken
// invariant, so libFuzzer keeps the input.
#pragma once

#include <QCoreApplication>
#include <QLoggingCategory>

#include "fuzz_inputs.h"

namespace fuzzutil
{
// One application object for the whole run: some modules need it for translations and paths.
inline void EnsureApp()
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app = nullptr;
    if (!app)
    {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.warning=false"));
        app = new QCoreApplication(argc, argv);
    }
}

inline void Check(bool consistent)
{
    if (!consistent)
    {
        __builtin_trap();
    }
}
}  // namespace fuzzutil
