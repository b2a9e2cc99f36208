#pragma once
// The firmware engineer's answers to "which code handles this line?".
#include <cstdio>

#include "app/options.h"

namespace app {

// Prints the recogniser chain in the order it is tried, one row per line:
// the row's name, then its prefix in quotes or "(two-stage)".
int list_recognisers(std::FILE* out);

// Runs o.explain_message through the interpreter against a scratch root
// with a recording board (nvram ZLTMerge = o.explain_model when given,
// CheckStatusMode = o.explain_mode) and prints the row that took it, then
// what it did: settings-file lines, other files, nvram sets, board
// commands, bytes to the MCU and sleeps. Nothing of the unit is touched.
int explain(const Options& o, std::FILE* out);

}  // namespace app
