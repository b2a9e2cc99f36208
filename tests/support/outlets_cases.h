#pragma once
// One row of the outlet families' case tables: a message fed through the
// interpreter on a unit in a given state, and everything it should leave behind.
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

using KeyValues = std::vector<std::pair<std::string, std::string>>;

struct OutletCase {
  std::string message;
  std::string model;                      // nvram "ZLTMerge"; empty: absent
  KeyValues nvram_before;                 // nvram preset
  std::vector<std::string> file_before;   // settings file lines before
  std::vector<std::string> file_after;    // settings file lines afterwards, in order
  KeyValues nvram_sets;                   // every nvram set, in order, with the final value
  std::vector<std::string> commands = {}; // command lines run
  std::string printed = "";               // printed after the input line
  std::string mcu = "";                   // bytes written to the MCU
  std::vector<long> sleeps = {};          // sleeps requested
};

// Feeds the case's message to a fresh interpreter and checks every outcome.
void expect_outlet_case(const OutletCase& c);

}  // namespace testing_support
