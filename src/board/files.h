#pragma once
// The daemon's own file changes, all under the root. Whole-file replacements
// go through a temporary file in the same directory and a rename, so a reader
// never sees half a file and a failed write leaves the old file whole.
#include <optional>
#include <string>
#include <string_view>

#include "board/root.h"

namespace board {

class Files {
 public:
  explicit Files(const Root& root) : root_(root) {}

  const Root& root() const { return root_; }
  std::string path(std::string_view unit_path) const { return root_.path(unit_path); }

  // Whole contents, or nothing when the file cannot be read.
  std::optional<std::string> read(std::string_view unit_path) const;
  // Atomic replacement (temporary file + rename). False when it failed; the old file stays.
  bool replace(std::string_view unit_path, std::string_view contents) const;
  // One write(2) of the whole text at the end of the file (created when missing).
  bool append(std::string_view unit_path, std::string_view text) const;
  bool remove(std::string_view unit_path) const;       // file or tree; true when gone
  bool copy(std::string_view from, std::string_view to) const;  // to may be a directory
  bool exists(std::string_view unit_path) const;
  bool make_dirs(std::string_view unit_path) const;   // mkdir -p

 private:
  const Root& root_;
};

// Helpers on real paths (not resolved against a root).
std::optional<std::string> read_file(const std::string& path);
bool replace_file(const std::string& path, std::string_view contents);
bool append_file(const std::string& path, std::string_view text);
bool make_parent_dirs(const std::string& path);

}  // namespace board
