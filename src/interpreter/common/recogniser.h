#pragma once
// A row of the recogniser chain. Every row has a name (what `pdud
// --list-recognisers` prints and the trace records) and either a prefix,
// looked for anywhere in the message, or a two-stage test that takes the
// message only when its inner words are there too.
//
// A prefix row does one of two things with the text after its prefix: an
// action with the row's own data (the key, the fixed value), for the many
// rows that differ only in their data; or a handler, for the behaviours that
// need code of their own.
#include <cstddef>

#include "interpreter/common/context.h"

namespace interp {

struct Recogniser;

// rest: the text just after the prefix (str_Endpoint's result).
using Handler = int (*)(Context&, char* rest);
using Action = int (*)(Context&, const Recogniser&, char* rest);
// True when it took the message; false lets the chain go on.
using TwoStage = bool (*)(Context&);

struct Recogniser {
  const char* name;
  const char* prefix;  // null for a two-stage test
  Handler handler = nullptr;
  Action action = nullptr;
  const char* key = nullptr;    // the action's key (or the stem a number completes)
  const char* value = nullptr;  // the action's fixed value
  const char* key2 = nullptr;   // a second fixed key and value
  const char* value2 = nullptr;
  TwoStage two_stage = nullptr;
  // A two-stage test's cheapest necessary condition: phrases (null-ended
  // list) of which every message it takes contains at least one. The chain
  // skips the test when none occurs. Null: the test is always tried.
  const char* const* needs = nullptr;
};

struct Row {
  const Recogniser* items = nullptr;
  size_t size = 0;
  const Recogniser* begin() const { return items; }
  const Recogniser* end() const { return items + size; }
};

template <size_t N>
constexpr Row row_of(const Recogniser (&items)[N]) {
  return Row{items, N};
}

constexpr Recogniser prefix(const char* name, const char* p, Handler h) {
  return Recogniser{name, p, h, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
}
constexpr Recogniser two_stage(const char* name, TwoStage t, const char* const* needs) {
  return Recogniser{name, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, t, needs};
}
// A row whose action works on its data.
constexpr Recogniser data_row(const char* name, const char* p, Action a, const char* key,
                              const char* value = nullptr, const char* key2 = nullptr,
                              const char* value2 = nullptr) {
  return Recogniser{name, p, nullptr, a, key, value, key2, value2, nullptr, nullptr};
}

}  // namespace interp
