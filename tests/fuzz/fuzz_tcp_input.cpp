// The TCP command input, through a real loopback connection to the command
// server: the input is sent in pieces (the first byte sets their size), then
// the client goes. What reached the MCU must be the input as sent, or, when a
// telnet negotiation block (a byte 255) was dropped, a tail of it.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "channels/tcp_server.h"
#include "support/channels_harness.h"

namespace {

using namespace testing_support;

[[noreturn]] void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "%s: [%s]\n", what, detail.c_str());
  std::abort();
}

struct Fixture {
  ChannelsHarness h;
  Fixture() {
    h.run(channels::start_tcp_server(*h.ch, "0"));
    if (!wait_until([&] { return h.ch->tcp_port.load() != 0; })) fail("no command server", "");
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Fixture* f = new Fixture;
  if (size < 1) return 0;
  std::string sent(reinterpret_cast<const char*>(data) + 1, size - 1);
  size_t piece = data[0] % 64 + 1;
  f->h.mcu.clear();
  {
    Client c(f->h.ch->tcp_port.load());
    if (!c.wait_for(channels::kCommandPrompt)) fail("no prompt", "");
    for (size_t at = 0; at < sent.size(); at += piece)
      if (!c.send(sent.substr(at, piece))) fail("send failed", "");
  }
  // The server frees the slot once it has read everything and the end.
  auto& slot = f->h.ch->clients.TcpClient[0].fd;
  auto end = std::chrono::steady_clock::now() + kDeadline;
  while (slot.load() >= 0)  // a finer wait than wait_until's: this runs thousands of times
    if (std::chrono::steady_clock::now() > end) fail("the slot stays taken", "");
    else std::this_thread::sleep_for(std::chrono::microseconds(20));
  std::string got = f->h.mcu.bytes();
  bool tail = got.size() <= sent.size() && sent.compare(sent.size() - got.size(), got.size(), got) == 0;
  if (sent.find('\xff') == std::string::npos ? got != sent : !tail) fail("MCU bytes differ", got);
  return 0;
}
