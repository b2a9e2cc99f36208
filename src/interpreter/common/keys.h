#pragma once
// Settings keys with numbers in them ("Powerdelay3", "sensor21output"): each
// "%d" of the format takes the next number, in decimal; the key is at most 31
// characters, as the web pages expect them. Built without printf: the status
// dump makes a few of these for every row.
#include <array>
#include <charconv>
#include <string>
#include <type_traits>

namespace interp {

template <typename... Numbers>
std::string format_key(const char* format, Numbers... numbers) {
  static_assert((std::is_same_v<Numbers, int> && ...), "format_key takes int numbers");
  const std::array<int, sizeof...(Numbers)> values{numbers...};
  char key[32];
  char* out = key;
  char* const end = key + 31;  // room for 31 characters
  size_t next = 0;
  for (const char* f = format; *f && out < end; ++f) {
    if (f[0] == '%' && f[1] == 'd' && next < values.size()) {
      char digits[16];
      const char* digits_end = std::to_chars(digits, digits + sizeof digits, values[next++]).ptr;
      for (const char* d = digits; d < digits_end && out < end; ++d) *out++ = *d;
      ++f;
    } else {
      *out++ = *f;
    }
  }
  return std::string(key, out);
}

}  // namespace interp
