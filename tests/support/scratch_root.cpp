#include "support/scratch_root.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace testing_support {

namespace fs = std::filesystem;

namespace {
std::string make_temp_dir() {
  std::string tmpl = (fs::temp_directory_path() / "pdud-test-XXXXXX").string();  // TMPDIR when set
  if (!::mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
  return tmpl;
}
}  // namespace

ScratchRoot::ScratchRoot() : root_(make_temp_dir()) {}

ScratchRoot::~ScratchRoot() {
  std::error_code ec;
  fs::remove_all(dir(), ec);
}

void ScratchRoot::write(const std::string& unit_path, const std::string& contents) const {
  if (!board::replace_file(path(unit_path), contents)) throw std::runtime_error("write " + unit_path);
}

}  // namespace testing_support
