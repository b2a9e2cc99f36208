// pdud: the bridge between the outlet MCU and the rest of the board.
#include <cstdio>

#include "core/daemon.h"
#include "core/options.h"

int main(int argc, char** argv) {
  // Diagnostics reach a pipe or a log as they happen.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  core::Options options;
  int status = 0;
  if (!core::parse_options(argc, argv, options, &status)) return status;
  return core::run_daemon(options);
}
