#include "channels/http_guard.h"

#include <cctype>
#include <cstring>

namespace channels {

namespace {

// Shapes of a request line, in order.
enum : int { kStart, kMethod, kTargetStart, kTarget, kVersion, kEnd, kCr };

bool tchar(unsigned char c) {
  return std::isalnum(c) || (c != 0 && std::strchr("!#$%&'*+-.^_`|~", c));
}

bool target_char(unsigned char c) { return c > 0x20 && c != 0x7f; }

}  // namespace

void HttpGuard::step(unsigned char c) {
  static constexpr char kHost[] = "host:";
  if (host_ >= 0 && host_ < 5) host_ = std::tolower(c) == kHost[host_] ? host_ + 1 : -1;
  switch (request_) {
    case kStart:
    case kMethod:
      request_ = tchar(c) ? kMethod : (request_ == kMethod && c == ' ') ? kTargetStart : -1;
      break;
    case kTargetStart:
    case kTarget:
      request_ = target_char(c) ? kTarget : (request_ == kTarget && c == ' ') ? kVersion : -1;
      version_ = 0;
      break;
    case kVersion: {
      static constexpr char kPrefix[] = "HTTP/1.";
      bool ok = version_ < 7 ? c == kPrefix[version_] : (c == '0' || c == '1');
      if (!ok) request_ = -1;
      else if (++version_ == 8) request_ = kEnd;
      break;
    }
    case kEnd:
      request_ = c == '\r' ? kCr : -1;
      break;
    default:
      request_ = -1;
  }
}

LineKind classify_line(std::string_view line) {
  HttpGuard g;
  std::string forward(line);
  forward += '\n';
  std::string ignored;
  return g.feed(forward.data(), forward.size(), ignored) ? LineKind::kCommand : g.refused();
}

void HttpGuard::reset() {
  request_ = kStart;
  version_ = 0;
  host_ = 0;
  common_ = true;
  held_.clear();
}

void HttpGuard::track_method() {
  static constexpr const char* kMethods[] = {"GET", "POST", "PUT", "DELETE", "HEAD", "OPTIONS", "PATCH", "CONNECT",
                                             "TRACE"};
  if (!common_ || request_ != kMethod) return;
  bool prefix = false;
  for (const char* m : kMethods) prefix = prefix || std::strncmp(m, held_.c_str(), held_.size()) == 0;
  common_ = prefix;
}

bool HttpGuard::feed(const char* data, size_t n, std::string& forward) {
  for (size_t i = 0; i < n; ++i) {
    char c = data[i];
    if (c == '\n') {
      if (request_ == kEnd || request_ == kCr) refused_ = LineKind::kHttpRequest;
      else if (host_ == 5) refused_ = LineKind::kHostHeader;
      else refused_ = LineKind::kCommand;
      if (refused_ != LineKind::kCommand) return false;
      forward += held_;
      forward += c;
      reset();
      continue;
    }
    step(static_cast<unsigned char>(c));
    held_ += c;
    track_method();
  }
  // A partial line waits for its end only while it reads like the start of
  // a browser's request (a usual method, or "Host:"); a line that began
  // otherwise goes on at once (and is still dropped if it ends as a request line).
  bool may_be_request = (request_ >= 0 && common_) || host_ >= 0;
  if (!may_be_request) {
    forward += held_;
    held_.clear();
  } else if (held_.size() > kHoldMax) {
    refused_ = host_ == 5 ? LineKind::kHostHeader : LineKind::kHttpRequest;
    return false;
  }
  return true;
}

}  // namespace channels
