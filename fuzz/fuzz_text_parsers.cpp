// Frequency, time and number texts.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::TextParsers(data, size));
    return 0;
}
