// The TCP command input as the server takes a peer's blocks: the first-input
// rule (CommandInput), then the guard against browsers' requests (HttpGuard).
// The first byte sets the block size. What reaches the MCU must be the input
// less the dropped block, up to the first request line or Host: line and
// nothing after it; each whole line that went on is a command line.
#include "channels/http_guard.h"
#include "channels/tcp_server.h"
#include "fuzz/rigs.h"

using namespace fuzz_support;
using channels::LineKind;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const size_t block = data[0] % 64 + 1;
  channels::CommandInput first;
  channels::HttpGuard guard;
  first.accepted();
  std::string kept, got;  // the blocks past the first-input rule; what went on
  bool refused = false, decided = false;
  for (size_t at = 0; at < input.size() && !refused; at += block) {
    std::string piece = input.substr(at, block);
    bool forwarded = first.forward(piece.data(), piece.size());
    // The rule drops at most one block, with a byte 255, before any other went on.
    if (!forwarded && (decided || piece.find('\xff') == std::string::npos)) fail("a block dropped wrongly", piece);
    decided = true;
    if (!forwarded) continue;
    kept += piece;
    refused = !guard.feed(piece.data(), piece.size(), got);
  }
  if (kept.compare(0, got.size(), got) != 0) fail("MCU bytes are not the input", got);
  size_t start = got.rfind('\n') + 1;  // of the line the guard still holds or refused
  for (size_t pos = 0; pos < start;) {
    size_t end = got.find('\n', pos);
    if (channels::classify_line(got.substr(pos, end - pos)) != LineKind::kCommand)
      fail("an HTTP line went on", got.substr(pos, end - pos));
    pos = end + 1;
  }
  size_t end = kept.find('\n', start), held = kept.size() - got.size();
  bool right = !refused ? end == std::string::npos && held <= channels::HttpGuard::kHoldMax
               : end != std::string::npos
                   ? channels::classify_line(kept.substr(start, end - start)) != LineKind::kCommand
                   : held > channels::HttpGuard::kHoldMax;
  if (!right) fail(refused ? "refused a command line" : "held back a whole line", kept.substr(start));
  return 0;
}
