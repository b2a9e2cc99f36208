// The descriptor hand-over's receiving side. Every 4 input bytes are one
// hand-over: the port, the count of descriptors carried (0 to 253), the
// announced slot and its flag. Afterwards the descriptors open in this
// process must be those open before, less the ones the tables held, plus the
// ones the tables hold now: nothing received leaks.
#include "fuzz/rigs.h"

using namespace fuzz_support;

static std::set<int> kept(channels::Channels& ch) {
  std::set<int> fds;
  for (auto* table : {&ch.rev_fd, &ch.rev_fd8000})
    for (auto& fd : table->fd)
      if (fd.load() >= 0) fds.insert(fd.load());
  return fds;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto* h = new ChannelsHarness;
  ::truncate(h->scratch.path("/printed.txt").c_str(), 0);  // the receiver's chatter
  std::set<int> expected = open_descriptors();
  for (int fd : kept(*h->ch)) expected.erase(fd);
  for (size_t i = 0; i + 4 <= size; i += 4)
    hand_over(*h->ch, data[i] & 1, data[i + 1] % 254, data[i + 2] % 4, static_cast<int8_t>(data[i + 3]));
  for (int fd : kept(*h->ch)) expected.insert(fd);
  if (open_descriptors() != expected) fail("descriptors open afterwards differ from those kept");
  return 0;
}
