// The descriptor hand-over, through the two servers' unix sockets. Every 4
// input bytes are one hand-over: the port, the count of descriptors carried
// (0 to 253), the announced slot and its flag. Afterwards the descriptors
// open in this process must be those open before, less the ones the tables
// held, plus the ones the tables hold now: nothing received leaks.
#include <cstdio>
#include <cstdlib>

#include "fuzz/hand_over.h"

namespace {

using namespace fuzz_support;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

struct Fixture {
  ChannelsHarness h;
  Fixture() {
    if (!start_servers(h)) fail("no descriptor servers");
  }
  std::set<int> kept() const {
    std::set<int> fds;
    for (auto* table : {&h.ch->rev_fd, &h.ch->rev_fd8000})
      for (auto& fd : table->fd)
        if (fd.load() >= 0) fds.insert(fd.load());
    return fds;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Fixture* f = new Fixture;
  ::truncate(f->h.scratch.path("/printed.txt").c_str(), 0);  // the servers' chatter
  std::set<int> expected = open_descriptors();
  for (int fd : f->kept()) expected.erase(fd);
  for (size_t i = 0; i + 4 <= size; i += 4)
    if (!hand_over(f->h, data[i] & 1, data[i + 1] % 254, data[i + 2] % 4, static_cast<int8_t>(data[i + 3])))
      fail("a hand-over was not taken");
  for (int fd : f->kept()) expected.insert(fd);
  if (open_descriptors() != expected) fail("descriptors open afterwards differ from those kept");
  return 0;
}
