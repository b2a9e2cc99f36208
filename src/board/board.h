#pragma once
// Everything through which the daemon touches the board, in one bundle that
// handlers and records receive.
#include <cstdio>

#include "board/clock.h"
#include "board/command_runner.h"
#include "board/files.h"
#include "board/mcu_line.h"
#include "board/nvram.h"
#include "board/settings_file.h"

namespace board {

struct Board {
  Files& files;
  Nvram& nvram;
  SettingsFile& settings;
  CommandRunner& runner;
  Clock& clock;
  McuLine& mcu;
  std::FILE* out;  // diagnostics: standard output in the daemon

  void print(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  // A setting kept in both stores: the settings file line and nvram.
  void store(std::string_view key, std::string_view value) {
    settings.set(key, value);
    nvram.set(key, value);
  }
};

}  // namespace board
