#pragma once
// The daemon's own file changes, all under the root. Whole-file replacements
// go through a temporary file in the same directory and a rename, so a reader
// never sees half a file and a failed write leaves the old file whole.
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "board/root.h"

namespace board {

// Counts the write steps of one Files and fails the one a test asks for, the
// way sqlite's I/O-error tests do: "fail the Nth write step from now".
// Steps are write(2), fsync(2) and rename(2) calls.
struct FileIo {
  std::atomic<uint64_t> replacements{0};  // files replaced (renames done)
  std::atomic<uint64_t> fsyncs{0};
  std::atomic<long> fail_in{0};           // 0: no fault; n: the nth step from now fails
  std::atomic<int> fail_errno{0};
  std::atomic<bool> persistent{false};    // once failed, every later step fails
  std::atomic<bool> fail_on{false};

  // 0 when the step may go ahead, else the errno it fails with.
  int step();
};

// How hard a replacement makes sure the new file survives a power cut.
enum class Sync {
  durable,  // fsync of the file before the rename and of its directory after it
  atomic,   // rename only: never half a file, but maybe the old one after a crash
};

class Files {
 public:
  explicit Files(const Root& root) : root_(root) {}

  const Root& root() const { return root_; }
  std::string path(std::string_view unit_path) const { return root_.path(unit_path); }

  // Whole contents, or nothing when the file cannot be read.
  std::optional<std::string> read(std::string_view unit_path) const;
  // Durable atomic replacement (temporary file, fsync, rename, fsync of the
  // directory). False (errno in *error) when it failed; the old file stays.
  bool replace(std::string_view unit_path, std::string_view contents, int* error = nullptr) const;
  // One write(2) of the whole text at the end of the file (created when
  // missing). A short write is cut off again: never a partial line.
  bool append(std::string_view unit_path, std::string_view text, int* error = nullptr) const;
  bool remove(std::string_view unit_path) const;       // file or tree; true when gone
  bool copy(std::string_view from, std::string_view to) const;  // to may be a directory
  bool exists(std::string_view unit_path) const;
  bool make_dirs(std::string_view unit_path) const;   // mkdir -p
  // Removes the temporary files that interrupted replacements left in the
  // directory, those older than min_age_s only (another process may be
  // replacing a file there now); the number removed.
  int remove_temporaries(std::string_view unit_dir, long min_age_s = 0) const;

  // Fault injection for tests: the nth write step from now fails with error;
  // persistent: every later step too, until clear_fault().
  void inject_fault(long nth, int error, bool persistent = false) const;
  void clear_fault() const;
  uint64_t replacement_count() const { return io_.replacements.load(); }
  uint64_t fsync_count() const { return io_.fsyncs.load(); }

 private:
  const Root& root_;
  mutable FileIo io_;
};

// Helpers on real paths (not resolved against a root).
std::optional<std::string> read_file(const std::string& path);
bool replace_file(const std::string& path, std::string_view contents, Sync sync = Sync::durable,
                  FileIo* io = nullptr, int* error = nullptr);
bool append_file(const std::string& path, std::string_view text, FileIo* io = nullptr,
                 int* error = nullptr);
// replace_file's temporary files are named "<name>.tmpXXXXXX".
bool is_temporary_name(std::string_view name);
bool make_parent_dirs(const std::string& path);

}  // namespace board
