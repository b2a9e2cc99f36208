// A stand-in for the board's libnvram: section 0 over a map, the flash a copy
// the commit makes, and a count of sets and commits, so the board backend can
// be tested off the board.
#include <map>
#include <string>

namespace {
std::map<std::string, std::string> buffer, flash;

char* find(std::map<std::string, std::string>& in, int index, const char* name) {
  auto it = in.find(name);
  return index != 0 || it == in.end() ? nullptr : it->second.data();
}
}  // namespace

extern "C" {
int fake_nvram_sets = 0, fake_nvram_commits = 0;

char* nvram_bufget(int index, const char* name) { return find(buffer, index, name); }
char* nvram_get(int index, const char* name) { return find(flash, index, name); }

int nvram_bufset(int index, const char* name, const char* value) {
  if (index != 0) return -1;
  buffer[name] = value;
  ++fake_nvram_sets;
  return 0;
}

int nvram_commit(int index) {
  if (index != 0) return -1;
  flash = buffer;
  ++fake_nvram_commits;
  return 0;
}
}
