#pragma once
// Settings keys with numbers in them ("Powerdelay3", "sensor21output"), built
// in a 32-byte buffer as the web pages expect them.
#include <cstdio>
#include <string>

namespace interp {

template <typename... Numbers>
std::string format_key(const char* format, Numbers... numbers) {
  char key[32];
  std::snprintf(key, sizeof key, format, numbers...);
  return key;
}

}  // namespace interp
