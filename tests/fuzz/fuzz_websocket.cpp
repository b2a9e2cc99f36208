// One GUI connection's protocol (WsSession), fed in pieces of the size the
// first byte sets. Its top bit takes the opening request from the input (up
// to its empty line); otherwise a valid one is used. The rest is frames: a
// byte h (FIN 0x80, raw 0x40, unmasked 0x10, opcode 0x0f), a length byte and
// that many payload bytes; a raw entry is length bytes as they stand.
// Oracles: one answer at most, to exactly the bytes up to the empty line;
// every echo is a text frame of the message acted on, which is a piece of
// the data payloads sent; every pong carries a ping's payload.
#include "channels/websocket_session.h"
#include "fuzz/rigs.h"

using namespace fuzz_support;
using Kind = channels::WsSession::Event::Kind;

static const char kRequest[] =
    "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";

static std::string payload_of(const std::string& frame) {
  size_t length = static_cast<uint8_t>(frame.at(1)) & 0x7f;
  return frame.substr(length < 126 ? 2 : length == 126 ? 4 : 10);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1), stream = kRequest;
  if (data[0] & 0x80) {
    size_t blank = rest.find("\r\n\r\n");
    stream = rest.substr(0, blank == std::string::npos ? blank : blank + 4);
    rest.erase(0, stream.size());
  }
  size_t request_size = stream.find("\r\n\r\n") + 4;  // 3 when there is no empty line
  std::string payloads;  // of the data frames, in order
  std::set<std::string> pings;
  bool raw = false;
  for (size_t i = 0; i + 1 < rest.size();) {
    uint8_t h = static_cast<uint8_t>(rest[i]), length = static_cast<uint8_t>(rest[i + 1]);
    std::string payload = rest.substr(i + 2, length);
    i += 2 + payload.size();
    raw = raw || (h & 0x40);
    const uint8_t key[4] = {h, length, 0x5a, 0xa5};
    std::string frame{static_cast<char>(h & 0x8f),
                      static_cast<char>((h & 0x10 ? 0 : 0x80) | std::min(length, uint8_t{126}))};
    if (length >= 126) frame += std::string{'\0', static_cast<char>(length)};
    if (!(h & 0x10)) frame.append(reinterpret_cast<const char*>(key), 4);
    for (size_t k = 0; k < payload.size(); ++k) frame += static_cast<char>(payload[k] ^ key[k % 4]);
    if ((h & 0xf) == 0x9) pings.insert(payload);
    if (!(h & 0x8)) payloads += payload;
    stream += h & 0x40 ? payload : frame;
  }
  std::vector<std::string> requests;
  channels::WsSession session([&](const std::string& r) {
    requests.push_back(r);
    return channels::handshake_response(r);
  });
  std::vector<channels::WsSession::Event> events;
  const size_t piece = data[0] % 32 + 1;
  for (size_t at = 0; at < stream.size(); at += piece)
    session.feed(stream.data() + at, std::min(piece, stream.size() - at), events);
  bool whole = request_size > 3 && request_size <= channels::kHandshakeMax;
  if (requests.size() != whole || (whole && requests[0] != stream.substr(0, request_size)))
    fail("the request answered is not the bytes up to the empty line", stream.substr(0, request_size));
  for (size_t k = 0; k < events.size(); ++k) {
    const std::string& bytes = events[k].bytes;
    if (events[k].kind == Kind::End && k + 1 != events.size()) fail("events after the end");
    if (events[k].kind == Kind::Act &&
        (k == 0 || events[k - 1].bytes.rfind("\x81", 0) != 0 || payload_of(events[k - 1].bytes) != bytes))
      fail("a message acted on without its echo", bytes);
    if (raw || k == 0 || events[k].kind != Kind::Send) continue;
    if (bytes[0] == '\x81' && payloads.find(payload_of(bytes)) == std::string::npos)
      fail("echo of a text not sent", bytes);
    if (bytes[0] == '\x8a' && !pings.count(payload_of(bytes))) fail("pong without its ping", bytes);
  }
  return 0;
}
