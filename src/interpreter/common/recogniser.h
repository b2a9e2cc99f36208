#pragma once
// A row of the recogniser chain: prefixes tested in order anywhere in the
// message, each with its handler; or a two-stage test that takes the message
// only when its inner words are there too.
#include <cstddef>

#include "interpreter/common/context.h"

namespace interp {

// rest: the text just after the prefix (str_Endpoint's result).
using Handler = int (*)(Context&, char* rest);
// True when it took the message; false lets the chain go on.
using TwoStage = bool (*)(Context&);

struct Recogniser {
  const char* prefix;     // null for a two-stage test
  Handler handler;
  TwoStage two_stage;
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

constexpr Recogniser prefix(const char* p, Handler h) { return Recogniser{p, h, nullptr}; }
constexpr Recogniser two_stage(TwoStage t) { return Recogniser{nullptr, nullptr, t}; }

}  // namespace interp
