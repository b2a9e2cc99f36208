#pragma once
// Which browser pages may open the GUI channel. A browser names the page that
// opens a WebSocket in the Origin header; a page of any other site must not
// read the live report. Scripts send no Origin and are let in as before.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace channels {

// The value of a header of an HTTP request (name compared without case,
// blanks around the value removed), or nothing when absent.
std::optional<std::string> header_value(std::string_view request, std::string_view name);

// The host part of "scheme://host[:port][/...]" or of a Host header value
// "host[:port]", in lower case; an IPv6 literal keeps its brackets.
std::string origin_host(std::string_view origin);
std::string host_header_host(std::string_view host);

enum class OriginVerdict {
  kNoOrigin,  // not a browser: accepted
  kSameHost,  // the unit's own pages, any port: accepted
  kListed,    // an entry of --ws-allow-origin: accepted
  kRefused,
};

// origin and host are the header values (nothing when absent); allowed holds
// whole origins such as "https://gui.example:8443", compared without case.
OriginVerdict check_origin(const std::optional<std::string>& origin, const std::optional<std::string>& host,
                           const std::vector<std::string>& allowed);
// The same for a whole upgrade request.
OriginVerdict check_request_origin(std::string_view request, const std::vector<std::string>& allowed);
inline bool accepted(OriginVerdict v) { return v != OriginVerdict::kRefused; }

// The answer to a refused upgrade.
inline constexpr char kOriginRefused[] =
    "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

}  // namespace channels

#include <cstdio>

namespace channels {

// The step of the upgrade: "" when the request may go on, else the answer to
// send before closing (the refusal is printed as one line to out).
std::string origin_refusal(std::string_view request, const std::vector<std::string>& allowed, std::FILE* out);

}  // namespace channels
