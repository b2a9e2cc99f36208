#pragma once
// The raw command port must not take a web browser's request as MCU commands:
// a page of any site can make a browser POST to the port, and every line of
// the request would reach the MCU. Such a request starts with a request line
// ("POST /x HTTP/1.1") and carries a "Host:" header; neither is ever an MCU
// command, so a peer that sends one is dropped before that line reaches the MCU.
#include <cstddef>
#include <string>
#include <string_view>

namespace channels {

enum class LineKind { kCommand, kHttpRequest, kHostHeader };

// Classifies one line (without its LF; a CR before it is allowed): a request
// line is a method token, a blank, a target without blanks, a blank and
// "HTTP/1.0" or "HTTP/1.1" at its end; a "Host:" line starts with the header
// name in any case.
LineKind classify_line(std::string_view line);

// Watches the byte stream of one peer line by line. Every complete line is
// classified before it goes on; a partial line at the end of a block waits
// for the rest only while it reads like the start of a browser's request (a
// usual method such as "GET" or "POST", or "Host:"), any other goes on at once.
class HttpGuard {
 public:
  static constexpr size_t kHoldMax = 8192;  // a held line this long is not a command

  // Appends to forward the bytes that may go to the MCU now. False when the
  // peer sent an HTTP request line or header: nothing of that line (or of what
  // follows it) is in forward, and the peer is to be dropped.
  bool feed(const char* data, size_t n, std::string& forward);
  // Back to the start of a line with nothing held (a new peer).
  void reset();
  // The kind of the line that made feed() return false.
  LineKind refused() const { return refused_; }

 private:
  void step(unsigned char c);
  void track_method();

  // Position in the request-line shape, or -1 once ruled out; likewise the
  // count of "host:" characters matched.
  int request_ = 0;
  int version_ = 0;  // characters of "HTTP/1.x" matched
  int host_ = 0;
  bool common_ = true;  // the method so far is (the start of) a usual one
  std::string held_;
  LineKind refused_ = LineKind::kCommand;
};

}  // namespace channels
