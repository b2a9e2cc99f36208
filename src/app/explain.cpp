#include "app/explain.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "board/board.h"
#include "board/recording.h"
#include "board/root.h"
#include "board/trace_file.h"
#include "core/state.h"
#include "interpreter/common/context.h"
#include "interpreter/dispatcher.h"

namespace app {

namespace {

// Every regular file under dir, as unit paths ("/user/argument.text"), sorted.
void list_files(const std::string& dir, const std::string& unit, std::vector<std::string>& out) {
  DIR* d = ::opendir(dir.c_str());
  if (!d) return;
  std::vector<std::string> names;
  while (dirent* e = ::readdir(d)) {
    std::string name = e->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  ::closedir(d);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    struct stat st {};
    const std::string path = dir + "/" + name;
    if (::lstat(path.c_str(), &st) != 0) continue;
    if (S_ISDIR(st.st_mode))
      list_files(path, unit + "/" + name, out);
    else if (S_ISREG(st.st_mode))
      out.push_back(unit + "/" + name);
  }
}

void print_lines(std::FILE* out, const char* label, const std::string& text) {
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::fprintf(out, "%s%s\n", label, text.substr(start, end - start).c_str());
    start = end + 1;
  }
}

}  // namespace

int list_recognisers(std::FILE* out) {
  for (const interp::Recogniser* r : interp::recogniser_chain()) {
    if (r->prefix)
      std::fprintf(out, "%s %s\n", r->name, board::TraceFile::quoted(r->prefix).c_str());
    else
      std::fprintf(out, "%s (two-stage)\n", r->name);
  }
  return 0;
}

int explain(const Options& o, std::FILE* out) {
  char scratch[] = "/tmp/pdud-explain-XXXXXX";
  if (!::mkdtemp(scratch)) {
    std::perror("pdud: --explain cannot make a scratch directory");
    return 1;
  }
  std::FILE* diagnostics = std::tmpfile();
  if (!diagnostics) {
    std::perror("pdud: --explain");
    return 1;
  }
  board::Root root(scratch);
  board::Files files(root);
  board::SettingsFile settings(files);
  board::RecordingNvram nvram;
  board::RecordingRunner runner;
  board::RecordingClock clock;
  board::RecordingMcu mcu;
  board::Board b{files, nvram, settings, runner, clock, mcu, diagnostics};
  if (!o.explain_model.empty()) nvram.values["ZLTMerge"] = o.explain_model;

  core::SharedState state;
  state.CheckStatusMode = static_cast<uint32_t>(o.explain_mode);
  interp::Context ctx(b, state);
  std::vector<char> message(o.explain_message.begin(), o.explain_message.end());
  message.push_back('\0');
  interp::MachineCommunication_RV470(ctx, message.data());

  std::fprintf(out, "row: %s\n", interp::taken_by(ctx).c_str());
  std::vector<std::string> written;
  list_files(scratch, "", written);
  for (const std::string& path : written) {
    const std::string text = files.read(path).value_or("");
    if (path == board::kSettingsPath)
      print_lines(out, "settings: ", text);
    else
      print_lines(out, ("file " + path + ": ").c_str(), text);
  }
  for (const auto& [key, value] : nvram.sets) std::fprintf(out, "nvram: %s=%s\n", key.c_str(), value.c_str());
  if (nvram.commits) std::fprintf(out, "nvram: commit\n");
  for (const std::string& line : runner.lines) std::fprintf(out, "command: %s\n", line.c_str());
  for (const std::string& bytes : mcu.writes)
    std::fprintf(out, "mcu: %s\n", board::TraceFile::quoted(bytes).c_str());
  for (long ms : clock.sleeps) std::fprintf(out, "sleep: %ld ms\n", ms);
  if (state.CheckStatusMode != static_cast<uint32_t>(o.explain_mode))
    std::fprintf(out, "status table: %u\n", static_cast<unsigned>(state.CheckStatusMode.load()));

  std::fclose(diagnostics);
  if (!root.is_system_root()) files.remove("/");
  return 0;
}

}  // namespace app
