#pragma once
// Outlet strings: settings that hold one character per outlet, outlet 1 first.
#include <cstring>
#include <string>
#include <string_view>

#include "interpreter/common/context.h"

namespace interp {

// An outlet string's key, its width and the value it has when nvram holds
// none. A key written with <n> is completed by the caller.
struct OutletStringKey {
  const char* key;
  size_t width;
  const char* fallback;
};

// The outlet strings.
inline constexpr OutletStringKey kTipoutlet{"Tipoutlet", 9, "111111111"};  // status codes
inline constexpr OutletStringKey kDcvoltage{"Dcvoltage", 8, "11111111"};   // DC output voltage codes
inline constexpr OutletStringKey kMaxvotagevalue{"Maxvotagevalue", 16, "0101010101010101"};  // two digits each
inline constexpr OutletStringKey kOutletusb{"Outletusb", 8, "00000000"};
inline constexpr OutletStringKey kOutletusbaction{"Outletusbaction", 8, "00000000"};
inline constexpr OutletStringKey kRuleCodes{"sensor<set><sensor>output|trigger", 8, "11111111"};
inline constexpr OutletStringKey kOutletOnOff{"Outlet<n>", 1, "0"};      // first character: on/off
inline constexpr OutletStringKey kSensorCode{"sensor<...><n>", 1, "1"};   // one-character sensor codes
inline constexpr OutletStringKey kSensorCheckFlags{"sensor<n>check", 4, "0000"};  // the fourth: beeper

constexpr bool fallback_fits(const OutletStringKey& s) {
  return std::char_traits<char>::length(s.fallback) == s.width;
}
static_assert(fallback_fits(kTipoutlet) && fallback_fits(kDcvoltage) && fallback_fits(kMaxvotagevalue) &&
              fallback_fits(kOutletusb) && fallback_fits(kOutletusbaction) && fallback_fits(kRuleCodes) &&
              fallback_fits(kOutletOnOff) && fallback_fits(kSensorCode) && fallback_fits(kSensorCheckFlags));

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

// The same, for a fixed key of the table, or with the caller's completed key.
inline std::string outlet_string(Context& ctx, const OutletStringKey& s, size_t index) {
  return outlet_string(ctx, s.key, s.fallback, index);
}
inline std::string outlet_string(Context& ctx, const OutletStringKey& s, std::string_view key,
                                 size_t index) {
  return outlet_string(ctx, key, s.fallback, index);
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
