#pragma once
// The serial reader's surroundings for the framing target and its regression
// tests: the board as recording doubles and a worker that collects every
// message queued for the interpreter.
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/serial_reader.h"
#include "support/fakes.h"
#include "support/scratch_root.h"

namespace fuzz_support {

using namespace testing_support;

struct ReaderRig {
  ScratchRoot scratch;
  MemoryNvram nvram;
  RecordingRunner runner;
  RecordingClock clock;
  RecordingMcu mcu;
  core::SharedState state;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> out{std::fopen("/dev/null", "w"), std::fclose};
  board::Board board{files, nvram, settings, runner, clock, mcu, out.get()};
  core::McuOutput nowhere;
  std::mutex lock;
  std::vector<std::string> queued;
  core::ThreadPool pool{state, [this](char* m) {
                          std::lock_guard<std::mutex> hold(lock);
                          queued.emplace_back(m);
                        }, out.get()};
  ReaderRig() { pool.start(); }
  // The messages queued since the last call, once the worker has them all.
  std::vector<std::string> take() {
    pool.drain();
    std::lock_guard<std::mutex> hold(lock);
    return std::exchange(queued, {});
  }
};

}  // namespace fuzz_support
