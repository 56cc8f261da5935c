// Equation texts: the lexer, the parser and the evaluation over the model's traces.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    fuzzutil::Check(fuzzinputs::Equations(data, size));
    return 0;
}
