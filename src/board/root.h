#pragma once
// The file-system root under which every path the daemon uses is resolved.
// "/" on the unit; a scratch directory on a development machine, in the demo
// and in tests. Printed texts keep the unit's paths; only file access moves.
#include <string>
#include <string_view>

namespace board {

class Root {
 public:
  explicit Root(std::string dir = "/");
  // "/user/argument.text" -> "<dir>/user/argument.text".
  std::string path(std::string_view unit_path) const;
  const std::string& dir() const { return dir_; }
  bool is_system_root() const { return dir_ == "/"; }

 private:
  std::string dir_;
};

}  // namespace board
