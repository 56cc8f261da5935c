// The uCal module's replies, read as lines and as blocks.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::UCalReply(data, size));
    return 0;
}
