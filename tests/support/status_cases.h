#pragma once
// Table-driven cases for the status dump and the event rules: messages fed in
// order through the interpreter, then the stores and the armed table checked.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

inline const std::string kAbsent = "<absent>";

// One key afterwards: its nvram value and its settings-file value.
struct StoreExpectation {
  std::string key;
  std::string nvram;
  std::string file;
};

struct MessageCase {
  std::string what;
  std::string model;
  std::map<std::string, std::string> nvram_before;
  uint32_t mode_before;
  std::vector<std::string> messages;
  std::vector<StoreExpectation> expect;
  uint32_t mode_after;
  std::string printed = {};            // when set: must appear in the printed output
  std::string settings_before = {};    // initial settings file
};

// Runs the case in a fresh harness and reports every difference.
void check_message_case(const MessageCase& c);

}  // namespace testing_support
