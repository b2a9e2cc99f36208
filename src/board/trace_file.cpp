#include "board/trace_file.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <ctime>

namespace board {

TraceFile::TraceFile(std::string path, long limit) : path_(std::move(path)), limit_(limit) {
  file_ = std::fopen(path_.c_str(), "ae");
  struct stat st {};
  if (file_ && ::stat(path_.c_str(), &st) == 0) size_ = static_cast<long>(st.st_size);
}

TraceFile::~TraceFile() {
  if (file_) std::fclose(file_);
}

void TraceFile::rotate() {
  std::fclose(file_);
  std::rename(path_.c_str(), (path_ + ".1").c_str());
  file_ = std::fopen(path_.c_str(), "we");
  size_ = 0;
}

void TraceFile::line(std::string_view kind, std::string_view text) {
  using namespace std::chrono;
  const auto wall = system_clock::now();
  const long long mono = duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
  const std::time_t secs = system_clock::to_time_t(wall);
  const int ms = static_cast<int>(duration_cast<milliseconds>(wall.time_since_epoch()).count() % 1000);
  std::tm tm{};
  gmtime_r(&secs, &tm);
  char stamp[64];
  std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d %lld ", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, ms, mono);
  std::string out = stamp;
  out.append(kind).append(" ").append(text).append("\n");

  std::lock_guard<std::mutex> hold(lock_);
  if (!file_) return;
  if (size_ > 0 && size_ + static_cast<long>(out.size()) > limit_) {
    rotate();
    if (!file_) return;
  }
  std::fwrite(out.data(), 1, out.size(), file_);
  std::fflush(file_);
  size_ += static_cast<long>(out.size());
}

std::string TraceFile::quoted(std::string_view bytes) {
  std::string out = "\"";
  for (unsigned char c : bytes) {
    switch (c) {
      case '\r': out += "\\r"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      default:
        if (c >= 0x20 && c < 0x7f) {
          out += static_cast<char>(c);
        } else {
          char hex[5];
          std::snprintf(hex, sizeof hex, "\\x%02x", c);
          out += hex;
        }
    }
  }
  return out + "\"";
}

}  // namespace board
