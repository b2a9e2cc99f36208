#include "board/root.h"

namespace board {

Root::Root(std::string dir) : dir_(dir.empty() ? "/" : std::move(dir)) {
  while (dir_.size() > 1 && dir_.back() == '/') dir_.pop_back();
}

std::string Root::path(std::string_view unit_path) const {
  if (dir_ == "/") return std::string(unit_path);
  std::string out = dir_;
  if (unit_path.empty() || unit_path.front() != '/') out += '/';
  out.append(unit_path);
  return out;
}

}  // namespace board
