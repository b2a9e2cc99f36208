#pragma once
// A scratch directory that stands in for the unit's "/" and is removed afterwards.
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "board/files.h"
#include "board/root.h"

namespace testing_support {

class ScratchRoot {
 public:
  ScratchRoot();
  ~ScratchRoot();
  ScratchRoot(const ScratchRoot&) = delete;
  ScratchRoot& operator=(const ScratchRoot&) = delete;

  const board::Root& root() const { return root_; }
  const std::string& dir() const { return root_.dir(); }
  std::string path(const std::string& unit_path) const { return root_.path(unit_path); }

  void write(const std::string& unit_path, const std::string& contents) const;  // throws when it cannot
  std::string read(const std::string& unit_path) const { return board::read_file(path(unit_path)).value_or(""); }
  bool exists(const std::string& unit_path) const {
    std::error_code ec;
    return std::filesystem::exists(path(unit_path), ec);
  }
  std::vector<std::string> lines(const std::string& unit_path) const {
    std::vector<std::string> out;
    std::istringstream in(read(unit_path));
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
  }

 private:
  board::Root root_;
};

}  // namespace testing_support
