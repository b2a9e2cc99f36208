#include "support/case_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <vector>

#include "support/interpreter_harness.h"

namespace testing_support {

namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;  // key, raw value in line order

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

std::string lines_of(const std::vector<std::string>& items) {  // one item a line
  std::string text;
  for (const auto& item : items) text += item + "\n";
  return text;
}

const char kNetworkRestart[] = "killall -9 udhcpc 2>/dev/null\nkillall -9 odhcp6c 2>/dev/null\nkillall -9 mDNSResponder "
    "2>/dev/null\n/sbin/ifconfig br-lan1 down\n/sbin/ifconfig br-lan2 down\n/sbin/ifconfig br-lan1 up\n/sbin/ifconfig br-lan2 up\n/sbin/wan.sh &\n";

void run_case(const Fields& c, bool strict) {
  InterpreterHarness h;
  std::string file;
  std::vector<std::string> messages;
  int query[3] = {0, 0, 0};
  for (const auto& [key, raw] : c) {
    const std::string value = unescape(raw);
    const auto [k, v] = split(value, "=");
    if (key == "model") h.nvram.values["ZLTMerge"] = value;
    else if (key == "nvram") h.nvram.values[k] = v;
    else if (key == "file") file += value + "\n";
    else if (key == "put") h.scratch.write(split(value, ": ").first, split(value, ": ").second);
    else if (key == "mode") h.state.CheckStatusMode = static_cast<uint32_t>(std::stoul(value));
    else if (key == "send") messages.push_back(value);
    else if (key == "query" && std::sscanf(value.c_str(), "%d %d %d", &query[0], &query[1], &query[2]) == 3)
      h.state._readGetCommand = query[0], h.state._readGetCommandFirstNumber = query[1], h.state._readGetCommandFirstOrSecond = query[2];
    else if (key != "case" && key[0] != '=') ADD_FAILURE() << "unknown key '" << key << "'";
  }
  if (!file.empty()) h.scratch.write("/user/argument.text", file);
  const std::map<std::string, std::string> before = h.nvram.values;
  for (const auto& m : messages) h.feed(m);
  std::string printed = h.take_output();

  // Each outcome as text, what the case wants and what happened; what the
  // case does not list must not happen. A file's lines are keyed by its path.
  std::map<std::string, std::string> want = {{"=file", file}, {"=nvram", ""}, {"=run", ""}, {"=mcu", ""},
                                             {"=sleep", ""}, {"=commits", ""}}, got = {{"=nvram", ""}};
  if (strict) want["=sets"] = want["=print"] = "";
  std::map<std::string, std::string> want_nvram;
  bool file_listed = false;
  for (const auto& [key, raw] : c) {
    std::string value = unescape(raw);
    const auto [k, v] = split(value, "=");
    const auto [path, line] = split(value, ": ");
    if (key == "=nvram") {
      if (strict) want["=sets"] += k + "\n";
      if (!strict || !before.count(k) || before.at(k) != v) want_nvram[k] = v;
    } else if (key == "=lines") {
      want[path] += line == "(none)" ? "" : line + "\n";  // (none): the file is empty or absent
    } else if (key == "=print" && !strict) {
      EXPECT_NE(printed.find(value), std::string::npos) << "printed:\n" << printed;
    } else if (key[0] == '=') {
      if (key == "=file" && !file_listed) want[key].clear(), file_listed = true;
      if (key == "=sleep") std::replace(value.begin(), value.end(), ' ', '\n');
      want[key] += value == "<network restart>" ? kNetworkRestart : value + (key == "=mcu" ? "" : "\n");
    }
  }
  for (const auto& [k, v] : want_nvram) want["=nvram"] += k + "=" + v + "\n";
  for (const auto& [k, v] : h.nvram.values)
    if (!before.count(k) || before.at(k) != v) got["=nvram"] += k + "=" + v + "\n";
  for (const auto& [k, v] : before)
    if (!h.nvram.values.count(k)) got["=nvram"] += k + " deleted\n";
  for (size_t at; (at = printed.find("\n**RV470_InputData=")) != std::string::npos;)  // the input echoed
    printed.erase(at, printed.find('\n', at + 1) + 1 - at);
  std::vector<std::string> sleeps;
  for (long ms : h.clock.sleeps) sleeps.push_back(std::to_string(ms));
  got.insert({{"=file", h.scratch.read("/user/argument.text")}, {"=run", lines_of(h.runner.lines)},
              {"=mcu", h.mcu.bytes}, {"=sleep", lines_of(sleeps)}, {"=commits", h.nvram.commits ? std::to_string(h.nvram.commits) + "\n" : ""},
              {"=sets", lines_of(h.nvram.set_order)}, {"=print", printed},
              {"=mode", std::to_string(h.state.CheckStatusMode.load()) + "\n"},
              {"=query", std::to_string(h.state._readGetCommand) + " " + std::to_string(h.state._readGetCommandFirstNumber) +
                             " " + std::to_string(h.state._readGetCommandFirstOrSecond) + "\n"}});
  for (const auto& [key, text] : want) {
    if (key[0] == '/') got[key] = h.scratch.read(key);
    EXPECT_TRUE(got.count(key)) << "unknown expectation '" << key << "'";
    EXPECT_EQ(got[key], text) << key;
  }
}

}  // namespace

void run_case_file(const std::string& relative_path) {
  std::ifstream in(std::string(PDUD_TEST_DATA) + "/" + relative_path);
  ASSERT_TRUE(in) << "cannot read " << relative_path;
  bool strict = false;
  Fields every;
  std::vector<std::pair<int, std::string>> lines;  // a case's first line number, its continuations joined
  int n = 0;
  for (std::string line; std::getline(in, line);) {
    ++n;
    const size_t lead = line.find_first_not_of(" \t");
    if (lead > 0 && lead != std::string::npos && line.compare(lead, 2, "| ") == 0 && !lines.empty())
      lines.back().second += " " + line.substr(lead);
    else
      lines.emplace_back(n, line);
  }
  int cases = 0;
  for (auto& [first, line] : lines) {
    if (line.empty() || line[0] == '#') continue;
    Fields c;
    for (size_t at = 0; at != std::string::npos; line.erase(0, at + 3)) {
      at = line.find(" | ");
      const auto [key, value] = split(line.substr(0, at), ": ");
      if (key == "=both") c.emplace_back("=file", value), c.emplace_back("=nvram", value);
      else c.emplace_back(key, value);
    }
    if (c[0].first == "strict") {
      strict = true;
    } else if (c[0].first == "every") {
      every.assign(c.begin() + 1, c.end());
    } else {
      c.insert(c.begin(), every.begin(), every.end());
      const auto label = std::find_if(c.begin(), c.end(), [](const auto& f) { return f.first == "case"; });
      SCOPED_TRACE(relative_path + ":" + std::to_string(first) + (label == c.end() ? "" : " (" + label->second + ")"));
      run_case(c, strict);
      ++cases;
    }
  }
  EXPECT_GT(cases, 0) << relative_path << " holds no case";
}

}  // namespace testing_support
