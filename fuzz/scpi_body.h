// The command bodies the SCPI harness runs behind the parser. MakeScpiFuzzBody is defined by one
// source chosen at configure time (VNA_FUZZ_SCPI_BODY), so the program's own bodies can replace
// the table-driven reader without touching the harness.
#pragma once

#include <functional>

class Scpi;

std::function<void(Scpi*)> MakeScpiFuzzBody();
