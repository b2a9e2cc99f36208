#pragma once
// Sensor event-rule confirmations and the event-word converters.
#include <string>

#include "interpreter/recogniser.h"

namespace interp {

Row event_rule_messages();

// Action codes: '1' no action, '2' power on, '3' power off, '4' restart.
// Puts the code of the first action word that `word` contains at codes[index];
// a word with none of them, a null word or an index outside codes changes nothing.
void process_response(const char* word, std::string& codes, int index);
// Trigger codes: '1' no trigger, '2' maximum or contact ON, '3' minimum or
// contact OFF, '4' min-max. Same guards as process_response.
void process_trigger(const char* word, std::string& codes, int index);

}  // namespace interp
