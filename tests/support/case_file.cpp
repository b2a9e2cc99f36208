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

struct Case {
  std::string name;
  int line = 0;
  std::vector<std::pair<std::string, std::string>> given;   // key, value in file order
  std::vector<std::pair<std::string, std::string>> expect;  // "=key", value
};

std::vector<Case> parse(const std::string& path) {
  std::ifstream in(path);
  if (!in) ADD_FAILURE() << "cannot read " << path;
  std::vector<Case> cases;
  Case cur;
  int n = 0;
  auto flush = [&] {
    if (!cur.given.empty() || !cur.expect.empty()) cases.push_back(cur);
    cur = Case{};
  };
  for (std::string raw; std::getline(in, raw);) {
    ++n;
    if (raw.empty()) {
      flush();
      continue;
    }
    if (raw[0] == '#') continue;
    auto [key, value] = split(raw, ": ");
    if (key == raw && raw.back() == ':') key = raw.substr(0, raw.size() - 1);  // "send:" with no value
    if (cur.line == 0) cur.line = n;
    if (key == "case")
      cur.name = value;
    else if (key[0] == '=')
      cur.expect.emplace_back(key, value);
    else
      cur.given.emplace_back(key, value);
  }
  flush();
  return cases;
}

void run_case(const Case& c, const std::string& file) {
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
    } else if (key == "capture") {
      auto [status, output] = split(value, " ");
      h.runner.captures.push_back(board::Capture{std::stoi(status), unescape(output)});
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
  std::map<std::string, std::vector<std::string>> want_lines;
  std::string want_mcu;
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
      want_nvram[k] = unescape(v);
    } else if (key == "=run") {
      want_run.push_back(value);
    } else if (key == "=mcu") {
      want_mcu += value;
    } else if (key == "=sleep") {
      std::istringstream words(raw);
      for (long ms; words >> ms;) want_sleeps.push_back(ms);
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
  EXPECT_EQ(changed, want_nvram) << "nvram changes";
  EXPECT_EQ(h.runner.lines, want_run) << "commands";
  EXPECT_EQ(h.mcu.bytes, want_mcu) << "MCU bytes";
  EXPECT_EQ(h.clock.sleeps, want_sleeps) << "sleeps";
  EXPECT_EQ(h.nvram.commits, want_commits) << "commits";
  for (const auto& [path, lines] : want_lines) EXPECT_EQ(h.scratch.lines(path), lines) << path;
}

}  // namespace

void run_case_file(const std::string& relative_path) {
  const std::string path = std::string(PDUD_TEST_DATA) + "/" + relative_path;
  std::vector<Case> cases = parse(path);
  EXPECT_FALSE(cases.empty()) << path << " holds no case";
  for (const Case& c : cases) run_case(c, relative_path);
}

}  // namespace testing_support
