#pragma once
// What the fuzz targets and their regression tests share: failing with the
// offending text, and the serial reader's surroundings.
#include <set>
#include <utility>

#include "core/serial_reader.h"
#include "support/channels_harness.h"

namespace fuzz_support {

using namespace testing_support;

[[noreturn]] inline void fail(const char* what, const std::string& detail = "") {
  std::fprintf(stderr, "%s: [%s]\n", what, detail.c_str());
  std::abort();
}

// A unit on a scratch root, its board made of test doubles (Runner records
// or checks the commands run).
template <class Runner> struct Unit : UnitDoubles<Runner> {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> out{std::fopen("/dev/null", "w"), std::fclose};
  board::Board board{this->files, this->nvram, this->settings, this->runner, this->clock, this->mcu, out.get()};
};

// A worker that collects every message queued for the interpreter.
struct ReaderRig : Unit<RecordingRunner> {
  core::McuOutput nowhere;
  std::mutex lock;
  std::vector<std::string> queued;
  core::ThreadPool pool{state, [this](char* m) { std::lock_guard<std::mutex> hold(lock); queued.emplace_back(m); },
                        out.get()};
  ReaderRig() { pool.start(); }
  // The messages queued since the last call, once the worker has them all.
  std::vector<std::string> take() {
    pool.drain();
    std::lock_guard<std::mutex> hold(lock);
    return std::exchange(queued, {});
  }
};

}  // namespace fuzz_support
