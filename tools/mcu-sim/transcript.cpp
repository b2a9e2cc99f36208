#include "mcu-sim/transcript.h"

#include <cctype>
#include <regex>

namespace mcusim {

namespace {

// The bytes of a trace record's quoted text.
std::string unquote(const std::string& q) {
  std::string out;
  for (size_t i = 1; i + 1 < q.size(); ++i) {
    if (q[i] != '\\' || i + 2 >= q.size()) {
      out += q[i];
      continue;
    }
    char e = q[++i];
    if (e == 'r') out += '\r';
    else if (e == 'n') out += '\n';
    else if (e == 't') out += '\t';
    else if (e == 'x' && i + 2 < q.size()) {
      out += static_cast<char>(std::stoi(q.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else out += e;
  }
  return out;
}

// A '.'-ended message has no CR LF: the MCU went quiet after it.
constexpr long kSilenceMs = 100;

}  // namespace

Transcript read_transcript(std::istream& in) {
  static const std::regex trace_line(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} (\d+) (\w+) (.*)$)");
  Transcript out;
  std::string pending;  // rx bytes not yet a whole line
  long long last_mono = -1, emitted_mono = -1;
  auto emit = [&](std::string text, long long mono) {
    out.emplace_back(emitted_mono < 0 ? 0 : static_cast<long>(mono - emitted_mono), std::move(text));
    emitted_mono = mono;
  };
  std::string l;
  while (std::getline(in, l)) {
    if (!l.empty() && l.back() == '\r') l.pop_back();
    std::smatch m;
    if (std::regex_match(l, m, trace_line)) {
      if (m[2] != "rx") continue;  // the daemon's own writes and its rows
      long long mono = std::stoll(m[1]);
      if (!pending.empty() && pending.back() == '.' && mono - last_mono >= kSilenceMs) {
        emit(pending, last_mono);
        pending.clear();
      }
      last_mono = mono;
      pending += unquote(m[3]);
      for (size_t end; (end = pending.find("\r\n")) != std::string::npos; pending.erase(0, end + 2))
        emit(pending.substr(0, end), mono);
      continue;
    }
    if (l.empty()) continue;
    long ms = 0;
    size_t i = 1;
    while (i < l.size() && i < 10 && std::isdigit(static_cast<unsigned char>(l[i]))) ++i;
    if (l[0] == '+' && i > 1 && (i == l.size() || l[i] == ' ')) {
      ms = std::stol(l.substr(1, i - 1));
      l = i < l.size() ? l.substr(i + 1) : "";
    }
    out.emplace_back(ms, l);
  }
  if (!pending.empty()) emit(pending, last_mono);
  return out;
}

}  // namespace mcusim
