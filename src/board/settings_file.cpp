#include "board/settings_file.h"

namespace board {

namespace {

// Lengths of the unit's command lines, to know whether they fit their buffers.
size_t sed_length(std::string_view key, bool anchored) {
  // sed -i '/KEY=/d' /user/argument.text   or   sed -i '/^KEY=/d' ...
  return std::string_view("sed -i '/=/d' /user/argument.text").size() + key.size() + (anchored ? 1 : 0);
}

size_t echo_length(std::string_view key, std::string_view value) {
  // echo 'KEY=VALUE' >> /user/argument.text
  return std::string_view("echo '=' >> /user/argument.text").size() + key.size() + value.size();
}

}  // namespace

std::string_view first_line(std::string_view value) {
  size_t cut = value.find_first_of("\r\n");
  return cut == std::string_view::npos ? value : value.substr(0, cut);
}

bool SettingsFile::change(std::string_view pattern, bool anchored, bool do_delete,
                          std::string_view key, std::string_view value, bool do_append) {
  std::string old = files_.read(unit_path_).value_or("");
  std::string out;
  out.reserve(old.size() + key.size() + value.size() + 2);
  std::string needle = std::string(pattern) + "=";
  size_t pos = 0;
  while (pos < old.size()) {
    size_t end = old.find('\n', pos);
    size_t next = end == std::string::npos ? old.size() : end + 1;
    std::string_view line(old.data() + pos, (end == std::string::npos ? old.size() : end) - pos);
    bool drop = do_delete && (anchored ? line.substr(0, needle.size()) == needle
                                       : line.find(needle) != std::string_view::npos);
    if (!drop) {
      out.append(line);
      out += '\n';
    }
    pos = next;
  }
  if (do_append) {
    out.append(key);
    out += '=';
    out.append(first_line(value));
    out += '\n';
  }
  bool ok = files_.replace(unit_path_, out);
  (ok ? commits_ : failed_commits_).fetch_add(1);
  return ok;
}

bool SettingsFile::set(std::string_view key, std::string_view value) {
  return change(key, false, true, key, value, true);
}

int SettingsFile::update_config(std::string_view key, std::string_view value) {
  constexpr size_t kLimit = 127;
  bool del = sed_length(key, true) <= kLimit;
  bool add = echo_length(key, first_line(value)) <= kLimit;
  if (!del && !add) return -1;
  bool ok = change(key, true, del, key, value, add);
  return ok && add ? 0 : -1;
}

bool SettingsFile::set_formatted(std::string_view key, std::string_view value) {
  bool del = sed_length(key, false) <= 63;
  bool add = echo_length(key, first_line(value)) <= 99;
  if (!del && !add) return false;
  return change(key, false, del, key, value, add) && add;
}

bool SettingsFile::set_mismatched(std::string_view delete_key, std::string_view key,
                                  std::string_view value) {
  return change(delete_key, false, true, key, value, true);
}

bool SettingsFile::remove(std::string_view key) { return change(key, false, true, {}, {}, false); }

bool SettingsFile::append(std::string_view key, std::string_view value) {
  return change({}, false, false, key, value, true);
}

}  // namespace board
