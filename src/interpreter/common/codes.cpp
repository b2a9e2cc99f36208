#include "interpreter/common/codes.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

void put_code(const char* word, std::string& codes, int index,
              std::initializer_list<Keyword> keywords) {
  if (!word || index < 0 || static_cast<size_t>(index) >= codes.size()) return;
  if (const char* code = first_keyword(word, keywords)) codes[static_cast<size_t>(index)] = *code;
}

}  // namespace

int map_delay_to_value(const char* text) {
  if (!text || std::strcmp(text, "No Delay") == 0) return 0;
  // Read as "%dms" reads it: blanks, a sign and digits; what follows is not looked at.
  char* end = nullptr;
  long ms = std::strtol(text, &end, 10);
  if (end == text) return 0;
  switch (ms) {
    case 100: return 1;
    case 200: return 2;
    case 300: return 3;
    case 400: return 4;
    case 500: return 5;
    default: return 0;
  }
}

void process_response(const char* word, std::string& codes, int index) {
  put_code(word, codes, index,
           {{"NoAction", "1"}, {"PowerOn", "2"}, {"PowerON", "2"}, {"PowerOff", "3"},
            {"PowerOFF", "3"}, {"Restart", "4"}, {"N/A", "1"}});
}

void process_trigger(const char* word, std::string& codes, int index) {
  put_code(word, codes, index,
           {{"NoTrigger", "1"}, {"Min-Max", "4"}, {"Max", "2"}, {"Min", "3"},
            {"ON", "2"}, {"OFF", "3"}, {"N/A", "1"}});
}

}  // namespace interp
