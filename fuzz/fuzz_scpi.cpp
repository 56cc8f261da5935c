// Remote command input, with the command bodies chosen at configure time (scpi_body.h).
#include "fuzz_common.h"
#include "scpi_body.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzutil::EnsureApp();
    // Building the command table costs far more than most inputs: one parser serves them all.
    static Scpi* scpi = []
    {
        auto* s = new Scpi;
        s->SetCallbackFunction(MakeScpiFuzzBody());
        return s;
    }();
    fuzzutil::Check(fuzzinputs::Scpi(*scpi, data, size));
    return 0;
}
