// The serial framing: bytes and silent reads fed to the reader. Byte 0xFF
// escapes: 0xFF 0xFF is the data byte 0xFF, 0xFF k is k % 16 silent reads.
// Every message queued for the worker must be a contiguous piece of the bytes.
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "core/serial_reader.h"
#include "support/fakes.h"
#include "support/scratch_root.h"

namespace {

using namespace testing_support;

struct Fixture {
  ScratchRoot scratch;
  MemoryNvram nvram;
  RecordingRunner runner;
  RecordingClock clock;
  RecordingMcu mcu;
  core::SharedState state;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
  std::FILE* out = std::fopen("/dev/null", "w");
  board::Board board{files, nvram, settings, runner, clock, mcu, out};
  std::mutex lock;
  std::vector<std::string> queued;
  core::ThreadPool pool{state, [this](char* m) {
                          std::lock_guard<std::mutex> hold(lock);
                          queued.emplace_back(m);
                        }, out};
  core::McuOutput output;  // sends nowhere
  Fixture() { pool.start(); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Fixture* f = new Fixture;
  // A fresh reader each time: nothing of the last input is left in it.
  core::SerialReader reader(f->board, f->state, f->pool, f->output);
  f->nvram.values.clear();
  f->runner.lines.clear();
  f->clock.sleeps.clear();
  std::string bytes;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] != 0xFF || i + 1 == size) {
      bytes += static_cast<char>(data[i]);
      reader.on_byte(static_cast<char>(data[i]));
    } else if (data[++i] == 0xFF) {
      bytes += '\xFF';
      reader.on_byte('\xFF');
    } else {
      for (int k = data[i] % 16; k > 0; --k) reader.on_silence();
    }
  }
  f->pool.drain();
  std::lock_guard<std::mutex> hold(f->lock);
  for (const std::string& m : f->queued) {
    if (bytes.find(m) == std::string::npos) {
      std::fprintf(stderr, "queued message is not a piece of the input: [%s]\n", m.c_str());
      std::abort();
    }
  }
  f->queued.clear();
  return 0;
}
