// Instrument state files read into a fresh model.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::StateFile(data, size));
    return 0;
}
