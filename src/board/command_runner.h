#pragma once
// The one way the daemon runs the board's programs.
//  - run(line): a fixed shell command line of the board, as system() runs it.
//    Text from the MCU or the network never goes into such a line.
//  - spawn(argv): a program with its arguments, no shell; waits for it.
//  - capture(argv): the same, returning its standard output and exit status.
// On the unit they run; in host mode they are journaled to
// ROOT/var/log/commands.log and never run; tests record them.
#include <string>
#include <vector>

#include "board/root.h"

namespace board {

struct Capture {
  int status = -1;      // exit status, -1 when the program could not be run
  std::string output;   // everything it wrote to standard output
};

class CommandRunner {
 public:
  virtual ~CommandRunner() = default;
  virtual int run(const std::string& line) = 0;
  virtual int spawn(const std::vector<std::string>& argv) = 0;
  virtual Capture capture(const std::vector<std::string>& argv) = 0;
};

// Runs everything for real.
class SystemRunner : public CommandRunner {
 public:
  int run(const std::string& line) override;
  int spawn(const std::vector<std::string>& argv) override;
  Capture capture(const std::vector<std::string>& argv) override;
};

// Host mode: appends each command line to ROOT/var/log/commands.log.
class JournalRunner : public CommandRunner {
 public:
  explicit JournalRunner(const Root& root);
  int run(const std::string& line) override;
  int spawn(const std::vector<std::string>& argv) override;
  Capture capture(const std::vector<std::string>& argv) override;  // always failed

  static constexpr const char* kJournal = "/var/log/commands.log";

 private:
  std::string journal_;
};

// The shell line that runs argv: each argument quoted where it needs it.
std::string shell_quote(const std::string& arg);
std::string shell_line(const std::vector<std::string>& argv);

}  // namespace board
