// Factory calibration blocks as the instrument's flash may hold them.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::FactoryCalBlock(data, size));
    return 0;
}
