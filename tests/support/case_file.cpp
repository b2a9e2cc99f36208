#include "support/case_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "support/interpreter_harness.h"

namespace testing_support {

namespace {

using Lines = std::vector<std::string>;
using Fields = std::vector<std::pair<std::string, std::string>>;  // key, raw value in line order

struct Strict {
  bool sets = false, print = false;
};

std::string unescape(const std::string& in) {
  static const char from[] = "rnts\\", to[] = "\r\n\t \\";
  std::string out;
  for (size_t i = 0; i < in.size(); ++i) {
    const char* at = in[i] == '\\' && i + 1 < in.size() ? std::strchr(from, in[i + 1]) : nullptr;
    out += at && *at ? to[at - from] : in[i];
    i += at && *at ? 1 : 0;
  }
  return out;
}

std::pair<std::string, std::string> split(const std::string& s, const char* sep) {
  const size_t at = s.find(sep);
  if (at == std::string::npos) return {s, ""};
  return {s.substr(0, at), s.substr(at + std::strlen(sep))};
}

Fields fields_of(std::string line) {
  Fields out;
  for (size_t at = 0; at != std::string::npos; line.erase(0, at + 3)) {
    at = line.find(" | ");
    auto [key, value] = split(line.substr(0, at), ": ");
    if (key == "=both") out.emplace_back("=file", value), out.emplace_back("=nvram", value);
    else out.emplace_back(key, value);
  }
  return out;
}

// The printed output without the dispatcher's echo of each input line.
std::string without_input_lines(std::string printed) {
  const std::string echo = "\n**RV470_InputData=";
  for (size_t at; (at = printed.find(echo)) != std::string::npos;) printed.erase(at, printed.find('\n', at + 1) + 1 - at);
  return printed;
}

void run_case(const Fields& c, const Strict& strict) {
  InterpreterHarness h;
  Lines file, messages;
  for (const auto& [key, raw] : c) {
    const std::string value = unescape(raw);
    if (key == "model") h.nvram.values["ZLTMerge"] = value;
    else if (key == "nvram") h.nvram.values[split(value, "=").first] = split(value, "=").second;
    else if (key == "file") file.push_back(value);
    else if (key == "put") h.scratch.write(split(value, ": ").first, split(value, ": ").second);
    else if (key == "mode") h.state.CheckStatusMode = static_cast<uint32_t>(std::stoul(value));
    else if (key == "send") messages.push_back(value);
    else if (key == "query") {
      std::istringstream words(value);
      int32_t command = 0, first_number = 0, first_or_second = 0;
      words >> command >> first_number >> first_or_second;
      h.state._readGetCommand = command, h.state._readGetCommandFirstNumber = first_number;
      h.state._readGetCommandFirstOrSecond = first_or_second;
    } else if (key != "case" && key[0] != '=') ADD_FAILURE() << "unknown key '" << key << "'";
  }
  std::string text;
  for (const auto& l : file) text += l + "\n";
  if (!file.empty()) h.scratch.write("/user/argument.text", text);
  const std::map<std::string, std::string> before = h.nvram.values;
  for (const auto& m : messages) h.feed(m);
  const std::string printed = h.take_output();

  Lines want_file = file, want_run, want_sets;
  std::map<std::string, std::string> want_nvram, changed;
  std::map<std::string, Lines> want_lines;
  std::string want_mcu, want_printed;
  std::vector<long> want_sleeps;
  int want_commits = 0;
  bool file_listed = false;
  for (const auto& [key, raw] : c) {
    const std::string value = unescape(raw);
    const auto [k, v] = split(value, "=");
    if (key == "=file") {
      if (!file_listed) want_file.clear();
      file_listed = true;
      want_file.push_back(value);
    } else if (key == "=nvram") {
      want_sets.push_back(k);
      auto it = before.find(k);
      if (!strict.sets || it == before.end() || it->second != v) want_nvram[k] = v;
    } else if (key == "=run" && raw == "<network restart>") {
      want_run.insert(want_run.end(), {"killall -9 udhcpc 2>/dev/null", "killall -9 odhcp6c 2>/dev/null",
                                       "killall -9 mDNSResponder 2>/dev/null", "/sbin/ifconfig br-lan1 down",
                                       "/sbin/ifconfig br-lan2 down", "/sbin/ifconfig br-lan1 up",
                                       "/sbin/ifconfig br-lan2 up", "/sbin/wan.sh &"});
    } else if (key == "=run") {
      want_run.push_back(value);
    } else if (key == "=mcu") {
      want_mcu += value;
    } else if (key == "=sleep") {
      std::istringstream words(raw);
      for (long ms; words >> ms;) want_sleeps.push_back(ms);
    } else if (key == "=print") {
      if (strict.print) want_printed += value + "\n";
      else EXPECT_NE(printed.find(value), std::string::npos) << "printed:\n" << printed;
    } else if (key == "=lines") {
      auto [path, line] = split(raw, ": ");
      auto& lines = want_lines[path];
      if (line != "(none)") lines.push_back(unescape(line));
    } else if (key == "=absent") {
      EXPECT_FALSE(h.scratch.exists(raw)) << raw;
    } else if (key == "=mode") {
      EXPECT_EQ(std::to_string(h.state.CheckStatusMode.load()), raw) << "CheckStatusMode";
    } else if (key == "=query") {
      EXPECT_EQ(std::to_string(h.state._readGetCommand) + " " + std::to_string(h.state._readGetCommandFirstNumber) +
                    " " + std::to_string(h.state._readGetCommandFirstOrSecond), raw) << "query state";
    } else if (key == "=commits") {
      want_commits = std::stoi(raw);
    } else if (key[0] == '=') {
      ADD_FAILURE() << "unknown expectation '" << key << "'";
    }
  }

  EXPECT_EQ(h.settings_lines(), want_file) << "settings file";
  for (const auto& [k, v] : h.nvram.values)
    if (!before.count(k) || before.at(k) != v) changed[k] = v;
  for (const auto& [k, v] : before)
    if (!h.nvram.values.count(k)) changed[k] = "<deleted>";
  EXPECT_EQ(changed, want_nvram) << "nvram changes";
  if (strict.sets) {
    EXPECT_EQ(h.nvram.set_order, want_sets) << "nvram sets";
  }
  if (strict.print) {
    EXPECT_EQ(without_input_lines(printed), want_printed) << "printed";
  }
  EXPECT_EQ(h.runner.lines, want_run) << "commands";
  EXPECT_EQ(h.mcu.bytes, want_mcu) << "MCU bytes";
  EXPECT_EQ(h.clock.sleeps, want_sleeps) << "sleeps";
  EXPECT_EQ(h.nvram.commits, want_commits) << "commits";
  for (const auto& [path, lines] : want_lines) EXPECT_EQ(h.scratch.lines(path), lines) << path;
}

}  // namespace

void run_case_file(const std::string& relative_path) {
  std::ifstream in(std::string(PDUD_TEST_DATA) + "/" + relative_path);
  ASSERT_TRUE(in) << "cannot read " << relative_path;
  Strict strict;
  Fields every;
  int n = 0, cases = 0;
  for (std::string line; std::getline(in, line); ++n) {
    if (line.empty() || line[0] == '#') continue;
    Fields c = fields_of(line);
    if (c[0].first == "strict") {
      strict.sets = c[0].second.find("sets") != std::string::npos;
      strict.print = c[0].second.find("print") != std::string::npos;
    } else if (c[0].first == "every") {
      every.assign(c.begin() + 1, c.end());
    } else {
      c.insert(c.begin(), every.begin(), every.end());
      SCOPED_TRACE(relative_path + ":" + std::to_string(n + 1) + ": " + line);
      run_case(c, strict);
      ++cases;
    }
  }
  EXPECT_GT(cases, 0) << relative_path << " holds no case";
}

}  // namespace testing_support
