#include "board/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace board {
namespace fs = std::filesystem;

namespace {

// write(2) of all of data. An injected fault writes half of what is left
// first, as a disk that fills up does.
bool write_all(int fd, std::string_view data, FileIo* io, int* error) {
  while (!data.empty()) {
    if (int e = io ? io->step() : 0) {
      if (data.size() > 1) {
        ssize_t part = ::write(fd, data.data(), data.size() / 2);
        (void)part;
      }
      errno = e;
      *error = e;
      return false;
    }
    ssize_t n = ::write(fd, data.data(), data.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      *error = errno;
      return false;
    }
    data.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

bool sync_fd(int fd, FileIo* io, int* error) {
  if (int e = io ? io->step() : 0) {
    *error = e;
    return false;
  }
  if (io) io->fsyncs.fetch_add(1);
  if (::fsync(fd) == 0) return true;
  *error = errno;
  return false;
}

bool sync_dir(const std::string& path, FileIo* io, int* error) {
  fs::path parent = fs::path(path).parent_path();
  int fd = ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) {
    *error = errno;
    return false;
  }
  bool ok = sync_fd(fd, io, error);
  ::close(fd);
  return ok;
}

}  // namespace

int FileIo::step() {
  if (fail_on.load()) return fail_errno.load();
  long n = fail_in.load();
  if (n <= 0) return 0;
  if (fail_in.fetch_sub(1) != 1) return 0;
  if (persistent.load()) fail_on = true;
  return fail_errno.load();
}

bool is_temporary_name(std::string_view name) {
  return name.size() > 10 && name.compare(name.size() - 10, 4, ".tmp") == 0;
}

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

bool replace_file(const std::string& path, std::string_view contents, Sync sync, FileIo* io,
                  int* error) {
  int ignored = 0;
  if (!error) error = &ignored;
  std::string tmp = path + ".tmpXXXXXX";
  int fd = ::mkstemp(tmp.data());
  if (fd < 0 && errno == ENOENT && make_parent_dirs(path)) {
    tmp = path + ".tmpXXXXXX";
    fd = ::mkstemp(tmp.data());
  }
  if (fd < 0) {
    *error = errno;
    return false;
  }
  // Keep the mode of the file it replaces, or the usual mode of a file made
  // by the shell's redirection.
  struct stat st;
  ::fchmod(fd, ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644);
  bool ok = write_all(fd, contents, io, error) && (sync == Sync::atomic || sync_fd(fd, io, error));
  if (::close(fd) != 0 && ok) {
    *error = errno;
    ok = false;
  }
  if (ok) {
    if (int e = io ? io->step() : 0) {
      *error = e;
      ok = false;
    } else if (::rename(tmp.c_str(), path.c_str()) != 0) {
      *error = errno;
      ok = false;
    }
  }
  if (!ok) {
    ::unlink(tmp.c_str());
    return false;
  }
  if (io) io->replacements.fetch_add(1);
  // The rename itself reaches the disk with the directory.
  if (sync == Sync::durable) sync_dir(path, io, error);
  return true;
}

bool append_file(const std::string& path, std::string_view text, FileIo* io, int* error) {
  int ignored = 0;
  if (!error) error = &ignored;
  int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0 && errno == ENOENT && make_parent_dirs(path))
    fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    *error = errno;
    return false;
  }
  // One write of the whole text: appenders of whole lines never interleave.
  ssize_t n;
  if (int e = io ? io->step() : 0) {
    // An injected full disk takes half of the text.
    n = text.size() > 1 ? ::write(fd, text.data(), text.size() / 2) : 0;
    if (n >= 0 && static_cast<size_t>(n) == text.size()) n = -1;
    errno = e;
  } else {
    n = ::write(fd, text.data(), text.size());
  }
  bool ok = n == static_cast<ssize_t>(text.size());
  if (!ok) {
    *error = n < 0 ? errno : ENOSPC;
    // A short write is undone, so the next line is not glued to a part of this one.
    if (n > 0) {
      off_t end = ::lseek(fd, 0, SEEK_CUR);
      if (end >= n) {
        int truncated = ::ftruncate(fd, end - n);
        (void)truncated;
      }
    }
  }
  ::close(fd);
  return ok;
}

std::optional<std::string> Files::read(std::string_view unit_path) const {
  return read_file(path(unit_path));
}

bool Files::replace(std::string_view unit_path, std::string_view contents, int* error) const {
  return replace_file(path(unit_path), contents, Sync::durable, &io_, error);
}

bool Files::append(std::string_view unit_path, std::string_view text, int* error) const {
  return append_file(path(unit_path), text, &io_, error);
}

int Files::remove_temporaries(std::string_view unit_dir, long min_age_s) const {
  std::error_code ec;
  int removed = 0;
  const time_t now = ::time(nullptr);
  for (const auto& e : fs::directory_iterator(path(unit_dir), ec)) {
    struct stat st;
    if (!is_temporary_name(e.path().filename().string()) || ::lstat(e.path().c_str(), &st) != 0 ||
        !S_ISREG(st.st_mode) || now - st.st_mtime < min_age_s)
      continue;
    if (::unlink(e.path().c_str()) == 0) ++removed;
  }
  return removed;
}

void Files::inject_fault(long nth, int error, bool persistent) const {
  io_.fail_errno = error;
  io_.fail_on = false;
  io_.persistent = persistent;
  io_.fail_in = nth;
}

void Files::clear_fault() const {
  io_.fail_in = 0;
  io_.fail_on = false;
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
