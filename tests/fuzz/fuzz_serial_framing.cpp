// The serial framing: bytes and silent reads fed to the reader. Byte 0xFF
// escapes: 0xFF 0xFF is the data byte 0xFF, 0xFF k is k % 16 silent reads.
// Every message queued for the worker must be a contiguous piece of the bytes.
#include "fuzz/rigs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto* rig = new fuzz_support::ReaderRig;
  // A fresh reader each time: nothing of the last input is left in it.
  core::SerialReader reader(rig->board, rig->state, rig->pool, rig->nowhere);
  rig->nvram.values.clear();
  rig->runner.lines.clear();
  rig->clock.sleeps.clear();
  std::string bytes;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] != 0xFF || i + 1 == size || data[i + 1] == 0xFF) {
      bytes += static_cast<char>(data[i]);
      reader.on_byte(static_cast<char>(data[i]));
      i += data[i] == 0xFF && i + 1 < size;
    } else {
      for (int k = data[++i] % 16; k > 0; --k) reader.on_silence();
    }
  }
  for (const std::string& m : rig->take())
    if (bytes.find(m) == std::string::npos) fuzz_support::fail("queued message is not a piece of the input", m);
  return 0;
}
