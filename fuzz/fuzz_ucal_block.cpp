// The uCal module's factory characterisation blocks.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::UCalBlock(data, size));
    return 0;
}
