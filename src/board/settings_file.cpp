#include "board/settings_file.h"

#include <cstring>

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

// The start and end (after its '\n') of the first line of text at or after
// from that contains needle, or begins with it when anchored; npos when none.
// text is a whole std::string (so ended by a NUL); nul_free: it holds no other NUL,
// and the vectorised strstr can search it.
std::pair<size_t, size_t> find_line(const std::string& text, const std::string& needle, bool anchored,
                                    size_t from, bool nul_free) {
  while (from < text.size()) {
    const char* hit =
        nul_free && needle.find('\0') == std::string::npos
            ? std::strstr(text.c_str() + from, needle.c_str())
            : static_cast<const char*>(::memmem(text.data() + from, text.size() - from, needle.data(), needle.size()));
    if (!hit) break;
    size_t at = hit - text.data();
    size_t start = at == 0 ? std::string::npos : text.rfind('\n', at - 1);
    start = start == std::string::npos ? 0 : start + 1;
    if (anchored && start != at) {
      from = at + 1;
      continue;
    }
    size_t end = text.find('\n', at);
    return {start, end == std::string_view::npos ? text.size() : end + 1};
  }
  return {std::string_view::npos, std::string_view::npos};
}

// Drops from text (whole lines, each ended by '\n') every line that contains
// needle, or that begins with it when anchored. True when one was dropped.
bool drop_lines(std::string& text, const std::string& needle, bool anchored, bool nul_free) {
  bool dropped = false;
  for (size_t from = 0;;) {
    auto [start, end] = find_line(text, needle, anchored, from, nul_free);
    if (start == std::string_view::npos) return dropped;
    text.erase(start, end - start);
    from = start;
    dropped = true;
  }
}

// The line of text starting at pos, with its '\n'.
std::string_view line_at(std::string_view text, size_t pos) {
  size_t end = text.find('\n', pos);
  return text.substr(pos, end == std::string_view::npos ? std::string_view::npos : end + 1 - pos);
}

// Removes the first whole line equal to line (with its '\n') from text; false when none.
bool take_line(std::string& text, std::string_view line) {
  for (size_t pos = 0; pos < text.size();) {
    std::string_view l = line_at(text, pos);
    if (l == line) {
      text.erase(pos, l.size());
      return true;
    }
    pos += l.size();
  }
  return false;
}

// What the file holds after the open changes. The unit's result is kept, then
// the appended lines: a line deleted and appended again unchanged keeps its
// old place instead.
std::string merge(std::string_view before, const std::string& kept, std::string added) {
  if (added.empty()) return kept;
  std::string out;
  out.reserve(before.size() + added.size());
  size_t k = 0;
  for (size_t pos = 0; pos < before.size();) {
    std::string_view l = line_at(before, pos);
    pos += l.size();
    // Lines are dropped by their text, so equal lines share their fate and the
    // kept lines are matched in order.
    if (k < kept.size() && line_at(kept, k) == l) {
      out.append(l);
      k += l.size();
    } else if (take_line(added, l)) {
      out.append(l);
    }
  }
  out.append(added);
  return out;
}

}  // namespace

std::string_view first_line(std::string_view value) {
  // A NUL ends the text as it ended the unit's command line.
  size_t cut = value.find_first_of(std::string_view("\r\n\0", 3));
  return cut == std::string_view::npos ? value : value.substr(0, cut);
}

void SettingsFile::load_locked() {
  // With changes waiting for a successful write the memory copy stands;
  // otherwise the file is what other programs may have changed meanwhile.
  if (loaded_ && failing_) return;
  std::optional<std::string> text = files_.read(unit_path_);
  present_ = text.has_value();
  if (loaded_ && text && *text == disk_) return;
  disk_ = text.value_or("");
  unchanged_memo_.clear();
  lines_ = disk_;
  if (!lines_.empty() && lines_.back() != '\n') lines_ += '\n';
  pending_ = lines_ != disk_;
  nul_free_ = lines_.find('\0') == std::string::npos;
  loaded_ = true;
}

bool SettingsFile::change(std::string_view pattern, bool anchored, bool do_delete,
                          std::string_view key, std::string_view value, bool do_append) {
  std::lock_guard<std::mutex> hold(lock_);
  if (!open_) {
    load_locked();
    kept_ = lines_;
    added_.clear();
    open_ = true;
  }
  if (observer_)
    observer_(SettingsChange{do_delete ? std::string(pattern) : std::string(), anchored,
                             do_append ? std::string(key) : std::string(),
                             std::string(first_line(value))});
  if (first_key_.empty()) first_key_ = do_append ? key : pattern;
  std::string needle(pattern);
  needle += '=';
  if (key.find('\0') != std::string_view::npos) nul_free_ = false;
  std::string line(key);
  line += '=';
  line.append(first_line(value));
  line += '\n';
  if (do_delete && do_append && !unchanged(needle, anchored, line)) {
    drop_lines(kept_, needle, anchored, nul_free_);
    drop_lines(added_, needle, anchored, true);
    added_ += line;
    modified_ = true;
  } else if (do_delete && !do_append) {
    modified_ |= drop_lines(kept_, needle, anchored, nul_free_);
    modified_ |= drop_lines(added_, needle, anchored, true);
  } else if (do_append && !do_delete) {
    added_ += line;
    modified_ = true;
  }
  if (depth_ > 0 && owner_ == std::this_thread::get_id()) return true;
  return write_locked();
}

// A delete and append that would put back the one line it deletes, unchanged.
bool SettingsFile::unchanged(const std::string& needle, bool anchored, std::string_view line) {
  // Before the first change of a transaction the answer depends on lines_
  // alone: the same change again (a status dump polled by the GUI) is
  // answered from memory instead of a scan of the file.
  std::string memo;
  if (!modified_) {
    memo.reserve(needle.size() + line.size() + 1);
    memo += anchored ? '^' : '*';
    memo += needle;
    memo += line;
    if (unchanged_memo_.count(memo)) return true;
  }
  auto [start, end] = find_line(kept_, needle, anchored, 0, nul_free_);
  bool same = start != std::string::npos && std::string_view(kept_).substr(start, end - start) == line &&
              find_line(kept_, needle, anchored, end, nul_free_).first == std::string::npos &&
              find_line(added_, needle, anchored, 0, true).first == std::string::npos;
  if (same && !modified_) unchanged_memo_.insert(std::move(memo));
  return same;
}

bool SettingsFile::write_locked() {
  if (open_) {
    if (modified_) {
      lines_ = merge(lines_, kept_, std::move(added_));
      unchanged_memo_.clear();
      pending_ = true;
    }
    kept_.clear();
    added_.clear();
    open_ = false;
    modified_ = false;
  }
  if (!loaded_ || !pending_ || (lines_ == disk_ && (present_ || lines_.empty()))) {
    pending_ = false;
    first_key_.clear();
    return true;
  }
  int error = 0;
  if (!files_.replace(unit_path_, lines_, &error)) {
    failed_commits_.fetch_add(1);
    if (!failing_) {
      std::fprintf(out_, "pdud: %s not written: %s (first key %s); the changes are kept for the next write\n",
                   unit_path_.c_str(), std::strerror(error), first_key_.c_str());
      std::fflush(out_);
    }
    failing_ = true;
    return false;
  }
  commits_.fetch_add(1);
  pending_ = false;
  disk_ = lines_;
  present_ = true;
  failing_ = false;
  first_key_.clear();
  return true;
}

void SettingsFile::begin() {
  std::lock_guard<std::mutex> hold(lock_);
  if (depth_ > 0 && owner_ != std::this_thread::get_id()) return;  // one transaction at a time
  owner_ = std::this_thread::get_id();
  ++depth_;
}

bool SettingsFile::commit() {
  std::lock_guard<std::mutex> hold(lock_);
  if (depth_ == 0 || owner_ != std::this_thread::get_id()) return write_locked();
  if (--depth_ > 0) return true;
  owner_ = std::thread::id();
  return write_locked();
}

bool SettingsFile::flush() {
  std::lock_guard<std::mutex> hold(lock_);
  return write_locked();
}

void SettingsFile::replace_by(const std::function<void()>& replace) {
  std::lock_guard<std::mutex> hold(lock_);
  replace();
  loaded_ = false;
  unchanged_memo_.clear();
  open_ = false;
  modified_ = false;
  pending_ = false;
  kept_.clear();
  added_.clear();
  first_key_.clear();
  failing_ = false;
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
