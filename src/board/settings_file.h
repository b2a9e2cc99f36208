#pragma once
// The settings file "/user/argument.text": one key=value per line, the most
// recently changed settings at the end.
//
// Two ways of dropping lines, as the web pages and scripts expect:
//  - set: every line that contains "KEY=" anywhere (so "XPower=1" goes with Power);
//  - update_config: only the lines that begin with "KEY=".
// A value is stored as it stands, single quotes included, but cut at its first
// CR or LF so that MCU text can never forge a second line.
//
// Transactions: the worker opens one per MCU message. The changes of the
// message are applied in memory, in order, with the line effects above, and
// the file is written once when the message ends (temporary file, fsync,
// rename, fsync of the directory), or earlier when flush() is called (before a
// board program runs, see SettingsFlushingRunner). A change made by a thread
// without an open transaction is written at once. Nothing is written when the
// lines stay the same; the line of a key set again to the value it held keeps
// its place instead of moving to the end (to spare the flash).
//
// A failed write leaves the old file whole, prints one line per failure
// episode and keeps the changes: the next successful write carries them.
//
// One lock keeps every writer of the file in the process apart.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <vector>

#include "board/command_runner.h"
#include "board/files.h"

namespace board {

inline constexpr const char* kSettingsPath = "/user/argument.text";
inline constexpr const char* kFactorySettingsPath = "/etc_ro/argument.text";

// One change as the unit's shell commands would make it: delete the lines
// matching "PATTERN=" (anchored or not), then append "KEY=VALUE"; either half
// may be absent. Reported to an observer (the benchmark replays them).
struct SettingsChange {
  std::string pattern;  // empty: nothing deleted
  bool anchored = false;
  std::string key;      // empty: nothing appended
  std::string value;
};

class SettingsFile {
 public:
  explicit SettingsFile(const Files& files, std::string unit_path = kSettingsPath,
                        std::FILE* out = stdout)
      : files_(files), unit_path_(std::move(unit_path)), out_(out) {}

  // Plain form: drop lines containing KEY=, append KEY=VALUE.
  bool set(std::string_view key, std::string_view value);
  // Anchored form: drop lines beginning with KEY=, append KEY=VALUE. The unit
  // built both command lines in 128-byte buffers; a change whose command line
  // would not fit does not happen (result -1), as the cut command failed there.
  int update_config(std::string_view key, std::string_view value);
  // The per-outlet query replies' form: plain delete in a 64-byte command
  // buffer, the append in a 100-byte one; a part that does not fit is not done.
  bool set_formatted(std::string_view key, std::string_view value);
  // Drop lines containing DELETE_KEY=, append KEY=VALUE. For the one handler
  // whose delete pattern and stored key differ.
  bool set_mismatched(std::string_view delete_key, std::string_view key, std::string_view value);
  // The two halves on their own (the factory reset drops two keys before appending both).
  bool remove(std::string_view key);
  bool append(std::string_view key, std::string_view value);

  // Opens a transaction on the calling thread (nested calls are counted).
  void begin();
  // Ends it; the outermost commit writes the file when its lines changed.
  // False when a write was needed and failed.
  bool commit();
  // Writes what is pending now; an open transaction stays open.
  bool flush();
  // Runs replace (which replaces or removes the file by other means, as the
  // factory reset does) under the lock; then every pending change is dropped
  // and the file is read again on the next change.
  void replace_by(const std::function<void()>& replace);

  // The transaction of one message: begin() on construction, commit() at the end.
  class Transaction {
   public:
    explicit Transaction(SettingsFile& s) : s_(s) { s_.begin(); }
    ~Transaction() { s_.commit(); }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

   private:
    SettingsFile& s_;
  };

  // Successful and failed writes of the file.
  uint64_t commit_count() const { return commits_.load(); }
  uint64_t failed_commit_count() const { return failed_commits_.load(); }

  // Called with every change, in order (the benchmark records them).
  void observe(std::function<void(const SettingsChange&)> observer) { observer_ = std::move(observer); }

  std::string path() const { return files_.path(unit_path_); }


 private:
  // Applies one change in memory and writes it when no transaction of this
  // thread is open. False when that write failed.
  bool change(std::string_view pattern, bool anchored, bool do_delete,
              std::string_view key, std::string_view value, bool do_append);
  void load_locked();
  bool write_locked();
  bool unchanged(const std::string& needle, bool anchored, std::string_view line);

  const Files& files_;
  std::string unit_path_;
  std::FILE* out_;
  std::function<void(const SettingsChange&)> observer_;

  std::mutex lock_;
  std::thread::id owner_;   // the thread with an open transaction
  int depth_ = 0;
  bool loaded_ = false;     // disk_ and lines_ hold the file
  bool present_ = false;    // the file existed when read or was written
  std::string disk_;        // the file as read or last written
  std::string lines_;       // what the file should hold before the open changes
  // The open changes: the lines of lines_ still there, and the lines appended.
  bool open_ = false;
  bool modified_ = false;   // the open changes changed a line
  bool pending_ = false;    // lines_ may differ from the file
  bool nul_free_ = true;    // lines_ holds no NUL byte (it may when read from a damaged file)
  std::string kept_;
  std::string added_;
  // Changes known to put back their one line unchanged in lines_ as it is.
  std::unordered_set<std::string> unchanged_memo_;
  std::string first_key_;   // the first key whose change is not yet written
  bool failing_ = false;    // a write failed and none has succeeded since
  std::atomic<uint64_t> commits_{0};
  std::atomic<uint64_t> failed_commits_{0};
};

// A runner that writes the pending settings before any board program runs,
// so that a program started by a handler sees every change made before it.
class SettingsFlushingRunner : public CommandRunner {
 public:
  SettingsFlushingRunner(CommandRunner& inner, SettingsFile& settings)
      : inner_(inner), settings_(settings) {}
  int run(const std::string& line) override {
    settings_.flush();
    return inner_.run(line);
  }
  int spawn(const std::vector<std::string>& argv) override {
    settings_.flush();
    return inner_.spawn(argv);
  }
  Capture capture(const std::vector<std::string>& argv) override {
    settings_.flush();
    return inner_.capture(argv);
  }

 private:
  CommandRunner& inner_;
  SettingsFile& settings_;
};

// "value" up to its first CR, LF or NUL.
std::string_view first_line(std::string_view value);

}  // namespace board
