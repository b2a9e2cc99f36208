#pragma once
// The actions of the rows that differ only in their data.
#include "interpreter/common/recogniser.h"

namespace interp {

// key = value (and key2 = value2 when the row has them), nvram only.
int nvram_fixed(Context& ctx, const Recogniser& r, char* rest);
// key = the text after the prefix, nvram only.
int nvram_rest(Context& ctx, const Recogniser& r, char* rest);
// The same into both stores: the settings-file line, then nvram.
int both_fixed(Context& ctx, const Recogniser& r, char* rest);
int both_rest(Context& ctx, const Recogniser& r, char* rest);

}  // namespace interp
