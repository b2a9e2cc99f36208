#pragma once
// Word-to-code converters shared by the confirmations and the status dump.
#include <string>

namespace interp {

// The delay code of an over-current delay text: "No Delay" is 0; "100ms" to
// "500ms" are 1 to 5; anything else is 0.
int map_delay_to_value(const char* text);

// Action codes: '1' no action, '2' power on, '3' power off, '4' restart.
// Puts the code of the first action word that `word` contains at codes[index];
// a word with none of them, a null word or an index outside codes changes nothing.
void process_response(const char* word, std::string& codes, int index);
// Trigger codes: '1' no trigger, '2' maximum or contact ON, '3' minimum or
// contact OFF, '4' min-max. Same guards as process_response.
void process_trigger(const char* word, std::string& codes, int index);

}  // namespace interp
