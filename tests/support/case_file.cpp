#include "support/case_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "support/interpreter_harness.h"

namespace testing_support {

namespace {

std::string unescape(const std::string& in) {
  std::string out;
  for (size_t i = 0; i < in.size(); ++i) {
    if (in[i] != '\\' || i + 1 == in.size()) {
      out += in[i];
      continue;
    }
    switch (in[++i]) {
      case 'r': out += '\r'; break;
      case 'n': out += '\n'; break;
      case 't': out += '\t'; break;
      case 's': out += ' '; break;
      case '\\': out += '\\'; break;
      default: out += '\\'; out += in[i]; break;
    }
  }
  return out;
}

std::pair<std::string, std::string> split(const std::string& s, const std::string& sep) {
  size_t at = s.find(sep);
  if (at == std::string::npos) return {s, ""};
  return {s.substr(0, at), s.substr(at + sep.size())};
}

// File-wide "strict:" words (see case_file.h).
struct Strict {
  bool sets = false;
  bool print = false;
};

struct Case {
  std::string name;
  int line = 0;
  std::vector<std::pair<std::string, std::string>> given;   // key, value in file order
  std::vector<std::pair<std::string, std::string>> expect;  // "=key", value
  bool every = false;                                       // an "every case:" block
};

std::vector<Case> parse(const std::string& path, Strict& strict) {
  std::ifstream in(path);
  if (!in) ADD_FAILURE() << "cannot read " << path;
  std::vector<Case> cases;
  Case cur;
  std::vector<std::pair<std::string, std::string>> every;  // given before each later case
  int n = 0;
  auto flush = [&] {
    if (cur.every) {
      if (!cur.expect.empty()) ADD_FAILURE() << path << ":" << cur.line << ": expectations in 'every case:'";
      every = cur.given;
    } else if (!cur.given.empty() || !cur.expect.empty()) {
      cur.given.insert(cur.given.begin(), every.begin(), every.end());
      cases.push_back(cur);
    }
    cur = Case{};
  };
  auto add = [&](const std::string& raw) {
    auto [key, value] = split(raw, ": ");
    if (key == raw && raw.back() == ':') key = raw.substr(0, raw.size() - 1);  // "send:" with no value
    if (key == "strict") {
      std::istringstream words(value);
      for (std::string w; words >> w;) {
        if (w == "sets") strict.sets = true;
        else if (w == "print") strict.print = true;
        else ADD_FAILURE() << path << ":" << n << ": unknown strict word '" << w << "'";
      }
      return;
    }
    if (cur.line == 0) cur.line = n;
    if (key == "case")
      cur.name = value;
    else if (key == "every case")
      cur.every = true;
    else if (key == "=both") {
      cur.expect.emplace_back("=file", value);
      cur.expect.emplace_back("=nvram", value);
    } else if (key[0] == '=')
      cur.expect.emplace_back(key, value);
    else
      cur.given.emplace_back(key, value);
  };
  for (std::string raw; std::getline(in, raw);) {
    ++n;
    if (raw.empty()) {
      flush();
    } else if (raw[0] == '#') {
      continue;
    } else if (raw.find(" | ") == std::string::npos) {
      add(raw);
    } else {  // a whole case on one line
      flush();
      for (size_t at; (at = raw.find(" | ")) != std::string::npos; raw.erase(0, at + 3)) add(raw.substr(0, at));
      add(raw);
      if (cur.name.empty()) cur.name = cur.given.empty() ? "" : cur.given.back().second;
      flush();
    }
  }
  flush();
  return cases;
}

// The printed output without the dispatcher's echo of each input line.
std::string without_input_lines(std::string printed) {
  const std::string echo = "\n**RV470_InputData=";
  for (size_t at; (at = printed.find(echo)) != std::string::npos;) {
    size_t end = printed.find('\n', at + echo.size());
    printed.erase(at, end == std::string::npos ? std::string::npos : end + 1 - at);
  }
  return printed;
}

void run_case(const Case& c, const std::string& file, const Strict& strict) {
  SCOPED_TRACE(file + ":" + std::to_string(c.line) + ": " + c.name);
  InterpreterHarness h;
  std::vector<std::string> initial_file;
  std::vector<std::string> messages;
  for (const auto& [key, value] : c.given) {
    if (key == "model") {
      h.set_model(value);
    } else if (key == "nvram") {
      auto [k, v] = split(value, "=");
      h.nvram.values[k] = unescape(v);
    } else if (key == "file") {
      initial_file.push_back(unescape(value));
    } else if (key == "put") {
      auto [path, contents] = split(value, ": ");
      h.scratch.write(path, unescape(contents));
    } else if (key == "mode") {
      h.state.CheckStatusMode = static_cast<uint32_t>(std::stoul(value));
    } else if (key == "query") {
      std::istringstream words(value);
      int32_t command = 0, first_number = 0, first_or_second = 0;
      words >> command >> first_number >> first_or_second;
      h.state._readGetCommand = command;
      h.state._readGetCommandFirstNumber = first_number;
      h.state._readGetCommandFirstOrSecond = first_or_second;
    } else if (key == "send") {
      messages.push_back(unescape(value));
    } else {
      ADD_FAILURE() << "unknown key '" << key << "'";
    }
  }
  if (!initial_file.empty()) {
    std::string text;
    for (const auto& l : initial_file) text += l + "\n";
    h.scratch.write("/user/argument.text", text);
  }
  const std::map<std::string, std::string> before = h.nvram.values;
  h.feed_all(messages);
  std::string printed = h.take_output();

  std::vector<std::string> want_file = initial_file, want_run;
  std::map<std::string, std::string> want_nvram;
  std::vector<std::string> want_set_keys;
  std::map<std::string, std::vector<std::string>> want_lines;
  std::string want_mcu, want_printed;
  std::vector<long> want_sleeps;
  int want_commits = 0;
  bool file_listed = false;
  for (const auto& [key, raw] : c.expect) {
    std::string value = unescape(raw);
    if (key == "=file") {
      if (!file_listed) want_file.clear();
      file_listed = true;
      if (raw != "(none)") want_file.push_back(value);
    } else if (key == "=nvram") {
      auto [k, v] = split(raw, "=");
      want_set_keys.push_back(k);
      auto it = before.find(k);
      if (!strict.sets || it == before.end() || it->second != unescape(v)) want_nvram[k] = unescape(v);
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
    } else if (key == "=print" && strict.print) {
      want_printed += value + "\n";
    } else if (key == "=print") {
      EXPECT_NE(printed.find(value), std::string::npos) << "printed:\n" << printed;
    } else if (key == "=lines") {
      auto [path, line] = split(raw, ": ");
      auto& lines = want_lines[path];
      if (line != "(none)") lines.push_back(unescape(line));
    } else if (key == "=absent") {
      EXPECT_FALSE(h.scratch.exists(raw)) << raw;
    } else if (key == "=mode") {
      EXPECT_EQ(h.state.CheckStatusMode.load(), std::stoul(raw)) << "CheckStatusMode";
    } else if (key == "=query") {
      EXPECT_EQ(std::to_string(h.state._readGetCommand.load()) + " " +
                    std::to_string(h.state._readGetCommandFirstNumber.load()) + " " +
                    std::to_string(h.state._readGetCommandFirstOrSecond.load()),
                raw)
          << "query state";
    } else if (key == "=commits") {
      want_commits = std::stoi(raw);
    } else {
      ADD_FAILURE() << "unknown expectation '" << key << "'";
    }
  }

  EXPECT_EQ(h.settings_lines(), want_file) << "settings file";
  std::map<std::string, std::string> changed;
  for (const auto& [k, v] : h.nvram.values) {
    auto it = before.find(k);
    if (it == before.end() || it->second != v) changed[k] = v;
  }
  for (const auto& [k, v] : before)
    if (!h.nvram.values.count(k)) changed[k] = "<deleted>";
  EXPECT_EQ(changed, want_nvram) << "nvram changes";
  if (strict.sets) {
    EXPECT_EQ(h.nvram.set_order, want_set_keys) << "nvram sets";
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
  const std::string path = std::string(PDUD_TEST_DATA) + "/" + relative_path;
  Strict strict;
  std::vector<Case> cases = parse(path, strict);
  EXPECT_FALSE(cases.empty()) << path << " holds no case";
  for (const Case& c : cases) run_case(c, relative_path, strict);
}

}  // namespace testing_support
