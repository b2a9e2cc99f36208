#pragma once
// A scratch directory that stands in for the unit's "/" and is removed afterwards.
#include <string>
#include <vector>

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

  void write(const std::string& unit_path, const std::string& contents) const;
  std::string read(const std::string& unit_path) const;  // "" when missing
  bool exists(const std::string& unit_path) const;
  std::vector<std::string> lines(const std::string& unit_path) const;

 private:
  board::Root root_;
};

}  // namespace testing_support
