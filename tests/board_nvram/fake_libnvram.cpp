// A stand-in for the board's libnvram: the four calls over a map, with a
// commit counter, so the board backend can be tested off the board.
#include <map>
#include <string>

namespace {
std::map<std::string, std::string> buffer;
std::map<std::string, std::string> flash;
}  // namespace

extern "C" {
int fake_nvram_commits = 0;

char* nvram_bufget(int index, const char* name) {
  if (index != 0) return nullptr;
  auto it = buffer.find(name);
  return it == buffer.end() ? nullptr : const_cast<char*>(it->second.c_str());
}

int nvram_bufset(int index, const char* name, const char* value) {
  if (index != 0) return -1;
  buffer[name] = value;
  return 0;
}

char* nvram_get(int index, const char* name) {
  if (index != 0) return nullptr;
  auto it = flash.find(name);
  if (it == flash.end()) it = buffer.find(name);
  return it == buffer.end() ? nullptr : const_cast<char*>(it->second.c_str());
}

int nvram_commit(int index) {
  if (index != 0) return -1;
  flash = buffer;
  ++fake_nvram_commits;
  return 0;
}
}
