// The board backend: the board library's buffered calls on section 0.
#include <memory>

#include "board/nvram.h"

extern "C" {
char* nvram_bufget(int index, const char* name);
int nvram_bufset(int index, const char* name, const char* value);
char* nvram_get(int index, const char* name);
int nvram_commit(int index);
}

namespace board {

namespace {

std::optional<std::string> text(const char* v) {
  if (!v) return std::nullopt;
  return std::string(v);
}

class BoardNvram : public Nvram {
 public:
  std::optional<std::string> get(std::string_view key) override {
    return text(nvram_bufget(0, std::string(key).c_str()));
  }
  void set(std::string_view key, std::string_view value) override {
    // The value already held is not set again.
    std::string k(key), v(value);
    const char* held = nvram_bufget(0, k.c_str());
    if (held && v == held) return;
    nvram_bufset(0, k.c_str(), v.c_str());
  }
  void commit() override { nvram_commit(0); }
  std::optional<std::string> get_direct(std::string_view key) override {
    return text(nvram_get(0, std::string(key).c_str()));
  }
};

}  // namespace

std::unique_ptr<Nvram> make_board_nvram() { return std::make_unique<BoardNvram>(); }

}  // namespace board
