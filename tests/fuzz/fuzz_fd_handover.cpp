// The descriptor hand-over's receiving side. Every 4 input bytes are one
// hand-over: the port, the count of descriptors carried (0 to 253), the
// announced slot and its flag. Afterwards the descriptors open in this
// process, apart from those the tables hold, must be those open before:
// nothing received leaks.
#include <unistd.h>

#include "fuzz/rigs.h"

using namespace fuzz_support;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto* h = new ChannelsHarness;
  ::truncate(h->scratch.path("/printed.txt").c_str(), 0);  // the receiver's chatter
  const std::set<int> before = unkept_descriptors(*h->ch);
  for (size_t i = 0; i + 4 <= size; i += 4)
    if (!hand_over(*h->ch, data[i] & 1 ? 8000 : 23, data[i + 1] % 254, data[i + 2] % 4,
                   static_cast<int8_t>(data[i + 3])))
      fail("hand-over not taken");
  if (unkept_descriptors(*h->ch) != before) fail("descriptors open afterwards differ from those kept");
  return 0;
}
