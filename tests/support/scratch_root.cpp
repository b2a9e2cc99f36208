#include "support/scratch_root.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "board/files.h"

namespace testing_support {

namespace fs = std::filesystem;

namespace {
std::string make_temp_dir() {
  const char* base = std::getenv("TMPDIR");
  std::string tmpl = std::string(base && *base ? base : "/tmp") + "/pdud-test-XXXXXX";
  if (!::mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
  return tmpl;
}
}  // namespace

ScratchRoot::ScratchRoot() : root_(make_temp_dir()) {}

ScratchRoot::~ScratchRoot() {
  std::error_code ec;  // read-only directories of a test are made removable again
  for (fs::recursive_directory_iterator it(dir(), ec), end; it != end; it.increment(ec))
    if (it->is_directory(ec)) fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
  fs::remove_all(dir(), ec);
}

void ScratchRoot::write(const std::string& unit_path, const std::string& contents) const {
  if (!board::replace_file(path(unit_path), contents)) throw std::runtime_error("write " + unit_path);
}

std::string ScratchRoot::read(const std::string& unit_path) const {
  return board::read_file(path(unit_path)).value_or("");
}

bool ScratchRoot::exists(const std::string& unit_path) const {
  std::error_code ec;
  return fs::exists(path(unit_path), ec);
}

std::vector<std::string> ScratchRoot::lines(const std::string& unit_path) const {
  std::vector<std::string> out;
  std::istringstream in(read(unit_path));
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

}  // namespace testing_support
