#include "board/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace board {
namespace fs = std::filesystem;

namespace {

bool write_all(int fd, std::string_view data) {
  while (!data.empty()) {
    ssize_t n = ::write(fd, data.data(), data.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

}  // namespace

std::optional<std::string> read_file(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string out;
  char buf[8192];
  for (;;) {
    ssize_t n = ::read(fd, buf, sizeof buf);
    if (n < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      return std::nullopt;
    }
    if (n == 0) break;
    out.append(buf, static_cast<size_t>(n));
  }
  ::close(fd);
  return out;
}

bool make_parent_dirs(const std::string& path) {
  fs::path parent = fs::path(path).parent_path();
  if (parent.empty()) return true;
  std::error_code ec;
  fs::create_directories(parent, ec);
  return !ec;
}

bool replace_file(const std::string& path, std::string_view contents) {
  make_parent_dirs(path);
  std::string tmp = path + ".tmpXXXXXX";
  int fd = ::mkstemp(tmp.data());
  if (fd < 0) return false;
  // Keep the usual mode of a file made by the shell's redirection.
  ::fchmod(fd, 0644);
  struct stat st;
  if (::stat(path.c_str(), &st) == 0) ::fchmod(fd, st.st_mode & 07777);
  bool ok = write_all(fd, contents) && ::fsync(fd) == 0;
  ok = (::close(fd) == 0) && ok;
  if (ok && ::rename(tmp.c_str(), path.c_str()) == 0) return true;
  ::unlink(tmp.c_str());
  return false;
}

bool append_file(const std::string& path, std::string_view text) {
  make_parent_dirs(path);
  int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  // One write of the whole text: appenders of whole lines never interleave.
  ssize_t n = ::write(fd, text.data(), text.size());
  ::close(fd);
  return n == static_cast<ssize_t>(text.size());
}

std::optional<std::string> Files::read(std::string_view unit_path) const {
  return read_file(path(unit_path));
}

bool Files::replace(std::string_view unit_path, std::string_view contents) const {
  return replace_file(path(unit_path), contents);
}

bool Files::append(std::string_view unit_path, std::string_view text) const {
  return append_file(path(unit_path), text);
}

bool Files::remove(std::string_view unit_path) const {
  std::error_code ec;
  fs::remove_all(path(unit_path), ec);
  return !ec;
}

bool Files::copy(std::string_view from, std::string_view to) const {
  std::error_code ec;
  fs::path src = path(from);
  fs::path dst = path(to);
  if (fs::is_directory(dst, ec)) dst /= src.filename();
  fs::copy(src, dst,
           fs::copy_options::recursive | fs::copy_options::overwrite_existing, ec);
  return !ec;
}

bool Files::exists(std::string_view unit_path) const {
  std::error_code ec;
  return fs::exists(path(unit_path), ec);
}

bool Files::make_dirs(std::string_view unit_path) const {
  std::error_code ec;
  fs::create_directories(path(unit_path), ec);
  return !ec;
}

}  // namespace board
