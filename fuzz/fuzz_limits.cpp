// Limit and ripple table files (CSV) and the cell reader under them.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::LimitTables(data, size));
    return 0;
}
