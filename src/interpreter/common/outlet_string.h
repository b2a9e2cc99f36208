#pragma once
// Outlet strings: settings that hold one character per outlet, outlet 1 first.
#include <cstring>
#include <string>
#include <string_view>

#include "interpreter/common/context.h"

namespace interp {

// The current nvram value of key, or fallback when there is none. A value too
// short to hold position `index` is first filled up from fallback (or '0'
// beyond it), so that a write at that position never runs past the string.
inline std::string outlet_string(Context& ctx, std::string_view key, std::string_view fallback,
                                 size_t index) {
  std::string value = ctx.nvram.get_or(key, fallback);
  while (value.size() <= index) {
    value += value.size() < fallback.size() ? fallback[value.size()] : '0';
  }
  return value;
}

// The `Tipoutlet` code of an outlet status text: the first of "Connected"
// '2', "Idle" '1', "Overload" '3', "AbnormalVoltage" '0' that it contains;
// '\0' when it contains none.
inline char outlet_status_code(const char* text) {
  static const struct {
    const char* word;
    char code;
  } kWords[] = {{"Connected", '2'}, {"Idle", '1'}, {"Overload", '3'}, {"AbnormalVoltage", '0'}};
  for (const auto& w : kWords)
    if (std::strstr(text, w.word)) return w.code;
  return '\0';
}

}  // namespace interp
