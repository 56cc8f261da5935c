// Calibration kit files (.skt).
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::CalKit(data, size));
    return 0;
}
