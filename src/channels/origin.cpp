#include "channels/origin.h"

#include <cctype>

namespace channels {

namespace {

std::string lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
  return s;
}

// "host[:port]" to its host; "[v6]:port" keeps the brackets.
std::string authority_host(std::string_view a) {
  if (!a.empty() && a.front() == '[') {
    size_t close = a.find(']');
    return close == std::string_view::npos ? "" : lower(a.substr(0, close + 1));
  }
  return lower(a.substr(0, a.find(':')));
}

}  // namespace

std::optional<std::string> header_value(std::string_view request, std::string_view name) {
  size_t at = request.find('\n');  // the request line is not a header
  while (at != std::string_view::npos && at + 1 < request.size()) {
    size_t start = at + 1;
    size_t end = request.find('\n', start);
    std::string_view line = request.substr(start, end == std::string_view::npos ? end : end - start);
    if (trim(line).empty()) break;  // the blank line ends the headers
    size_t colon = line.find(':');
    if (colon != std::string_view::npos && lower(line.substr(0, colon)) == lower(name))
      return std::string(trim(line.substr(colon + 1)));
    at = end;
  }
  return std::nullopt;
}

std::string origin_host(std::string_view origin) {
  size_t scheme = origin.find("://");
  if (scheme == std::string_view::npos) return "";
  std::string_view rest = origin.substr(scheme + 3);
  return authority_host(rest.substr(0, rest.find('/')));
}

std::string host_header_host(std::string_view host) { return authority_host(trim(host)); }

OriginVerdict check_origin(const std::optional<std::string>& origin, const std::optional<std::string>& host,
                           const std::vector<std::string>& allowed) {
  if (!origin) return OriginVerdict::kNoOrigin;
  std::string o = lower(trim(*origin));
  std::string oh = origin_host(o);
  if (host && !oh.empty() && oh == host_header_host(*host)) return OriginVerdict::kSameHost;
  for (const std::string& entry : allowed) {
    std::string e = lower(trim(entry));
    while (!e.empty() && e.back() == '/') e.pop_back();
    if (!e.empty() && e == o) return OriginVerdict::kListed;
  }
  return OriginVerdict::kRefused;
}

OriginVerdict check_request_origin(std::string_view request, const std::vector<std::string>& allowed) {
  return check_origin(header_value(request, "Origin"), header_value(request, "Host"), allowed);
}

}  // namespace channels

namespace channels {

std::string origin_refusal(std::string_view request, const std::vector<std::string>& allowed, std::FILE* out) {
  if (accepted(check_request_origin(request, allowed))) return "";
  std::string origin = header_value(request, "Origin").value_or("").substr(0, 100);
  for (char& c : origin)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  if (out) {
    std::fprintf(out, "WebSocket: refused a page of %s (neither this unit's host nor an allowed origin)\n",
                 origin.c_str());
    std::fflush(out);
  }
  return kOriginRefused;
}

}  // namespace channels
