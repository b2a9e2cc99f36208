#include <dirent.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "board/files.h"
#include "board/nvram.h"

namespace board {

namespace {

// Keys become file names; the few bytes a file name cannot hold are escaped.
std::string encode_key(std::string_view key) {
  std::string out;
  for (unsigned char c : key) {
    if (c == '/' || c == '%' || c < 0x20 || (out.empty() && c == '.')) {
      char buf[4];
      std::snprintf(buf, sizeof buf, "%%%02X", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string decode_key(std::string_view name) {
  std::string out;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] == '%' && i + 2 < name.size() && std::isxdigit(static_cast<unsigned char>(name[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(name[i + 2]))) {
      // A stray file of another program decodes as it stands instead of failing.
      out += static_cast<char>(std::strtol(std::string(name.substr(i + 1, 2)).c_str(), nullptr, 16));
      i += 2;
    } else {
      out += name[i];
    }
  }
  return out;
}


}  // namespace

HostNvram::HostNvram(const Root& root)
    : buffer_dir_(root.path("/var/lib/nvram/buffer")),
      committed_dir_(root.path("/var/lib/nvram/committed")) {
  std::error_code ec;
  std::filesystem::create_directories(buffer_dir_, ec);
}

bool HostNvram::valid_key(std::string_view key) {
  return !key.empty() && key.size() <= 200 && key.find('\0') == std::string_view::npos;
}

std::optional<std::string> HostNvram::get(std::string_view key) {
  if (!valid_key(key)) return std::nullopt;
  return read_file(buffer_dir_ + "/" + encode_key(key));
}

void HostNvram::set(std::string_view key, std::string_view value) {
  if (!valid_key(key)) return;
  // The board library keeps C strings: a value ends at its first NUL.
  value = value.substr(0, value.find('\0'));
  const std::string file = buffer_dir_ + "/" + encode_key(key);
  // The value already held is not written again. A development store: the
  // rename keeps concurrent setters whole, no fsync makes it survive a crash.
  if (read_file(file) == std::optional<std::string>(value)) return;
  replace_file(file, value, Sync::atomic);
}

bool HostNvram::unset(std::string_view key) {
  if (!valid_key(key)) return false;
  return ::unlink((buffer_dir_ + "/" + encode_key(key)).c_str()) == 0;
}

std::map<std::string, std::string> HostNvram::all() {
  std::map<std::string, std::string> out;
  DIR* dir = ::opendir(buffer_dir_.c_str());
  if (!dir) return out;
  while (dirent* e = ::readdir(dir)) {
    std::string name = e->d_name;
    if (name == "." || name == ".." || is_temporary_name(name)) continue;
    if (auto v = read_file(buffer_dir_ + "/" + name)) out[decode_key(name)] = *v;
  }
  ::closedir(dir);
  return out;
}

void HostNvram::commit() {
  for (const auto& [key, value] : all()) replace_file(committed_dir_ + "/" + encode_key(key), value, Sync::atomic);
}

}  // namespace board
