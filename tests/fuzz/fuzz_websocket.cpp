// The WebSocket handshake and frame reader: the whole input as an opening
// request, then as a stream of client frames read through a socket pair the
// way the server reads them. Kept to the codec's entry points so that it can
// follow the server's reader when that changes.
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "channels/channels.h"
#include "channels/websocket_codec.h"
#include "channels/websocket_server.h"

namespace {

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

size_t unread(int fd) {
  int n = 0;
  ::ioctl(fd, FIONREAD, &n);
  return static_cast<size_t>(n);
}

void handshake(const std::string& request) {
  std::string answer = channels::handshake_response(request);
  size_t blank = request.find("\r\n\r\n");
  size_t key = request.find("Sec-WebSocket-Key");
  if (!answer.empty() && (key == std::string::npos || (blank != std::string::npos && key > blank)))
    fail("answered a request without a key line before its end");
  if (!answer.empty() && answer.rfind("HTTP/1.1 101 Switching Protocols\r\n", 0) != 0)
    fail("answer is not a 101");
}

void frames(const uint8_t* data, size_t size) {
  int sv[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, sv) != 0) fail("socketpair");
  if (size && ::write(sv[1], data, size) != static_cast<ssize_t>(size)) fail("write");
  ::shutdown(sv[1], SHUT_WR);
  for (;;) {
    size_t before = unread(sv[0]);
    channels::FrameHead head;
    if (channels::recv_frame_head(sv[0], head) != 0) break;
    uint8_t first = data[size - before], second = data[size - before + 1];
    size_t used = 2 + ((second & 0x7f) == 126 ? 2 : (second & 0x7f) == 127 ? 8 : 0) + (head.mask ? 4 : 0);
    if (before - unread(sv[0]) != used) fail("frame head read a wrong number of bytes");
    if (head.opcode != (first & 0x0f) || head.fin != (first >> 7)) fail("opcode or FIN misread");
    uint64_t length = second & 0x7f;  // the length as sent: 7 bits, or 16 / 64 bits big-endian
    if (length >= 126) {
      size_t bytes = length == 126 ? 2 : 8;
      length = 0;
      for (size_t k = 0; k < bytes; ++k) length = (length << 8) | data[size - before + 2 + k];
    }
    if (head.payload_length != length) fail("payload length misread");
    if (head.payload_length > channels::kFrameMax || head.payload_length > unread(sv[0])) break;
    std::vector<uint8_t> payload(head.payload_length);
    if (!channels::read_full(sv[0], payload.data(), payload.size())) fail("payload not read");
    if (head.mask) channels::umaskTest(payload.data(), payload.size(), head.masking_key);
  }
  ::close(sv[0]);
  ::close(sv[1]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  handshake(std::string(reinterpret_cast<const char*>(data), size));
  frames(data, size);
  return 0;
}
