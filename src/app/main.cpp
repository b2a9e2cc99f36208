// pdud: the bridge between the outlet MCU and the rest of the board.
#include <cstdio>

#include "app/daemon.h"
#include "app/explain.h"
#include "app/options.h"

int main(int argc, char** argv) {
  // Diagnostics reach a pipe or a log as they happen.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  app::Options options;
  int status = 0;
  if (!app::parse_options(argc, argv, options, &status)) return status;
  if (options.list_recognisers) return app::list_recognisers(stdout);
  if (options.explain) return app::explain(options, stdout);
  return app::run_daemon(options);
}
