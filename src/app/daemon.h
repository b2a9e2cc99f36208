#pragma once
#include <optional>
#include <string>

#include "board/files.h"
#include "app/options.h"

namespace app {

// Start-up in the unit's order, then the serial reader for the life of the
// process. Returns the process's exit status.
int run_daemon(const Options& options);

// Writes the process id to "/var/run/readuart.pid" (no newline); 0, or -1.
int writeGoPid(const board::Files& files);

// The command ports: missing, 7 characters or longer, or not all digits
// gives "4001".
std::string valid_port(const std::optional<std::string>& text);

}  // namespace app
