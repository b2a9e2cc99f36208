#pragma once
// nvram: the board's key/value store. Sets go to a buffer that readers see at
// once; a commit makes the buffer durable. A missing key reads as nothing.
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "board/root.h"

namespace board {

class Nvram {
 public:
  virtual ~Nvram() = default;
  virtual std::optional<std::string> get(std::string_view key) = 0;  // nvram_bufget
  virtual void set(std::string_view key, std::string_view value) = 0;  // nvram_bufset
  virtual void commit() = 0;                                           // nvram_commit
  // nvram_get: used for the model code "ZLTMerge".
  virtual std::optional<std::string> get_direct(std::string_view key) { return get(key); }

  // The model code; empty when absent.
  std::string model() { return get_direct("ZLTMerge").value_or(""); }
  // The value, or fallback when absent.
  std::string get_or(std::string_view key, std::string_view fallback) {
    auto v = get(key);
    return v ? *v : std::string(fallback);
  }
};

// The host store: one file per key under ROOT/var/lib/nvram/buffer, replaced
// atomically on every set, so every process sees a set at once and setters of
// different keys never lose each other's work. Commit copies the buffer to
// ROOT/var/lib/nvram/committed.
class HostNvram : public Nvram {
 public:
  explicit HostNvram(const Root& root);
  std::optional<std::string> get(std::string_view key) override;
  void set(std::string_view key, std::string_view value) override;
  void commit() override;
  bool unset(std::string_view key);
  std::map<std::string, std::string> all();  // the buffer, sorted by key

  static bool valid_key(std::string_view key);

 private:
  std::string buffer_dir_;
  std::string committed_dir_;
};

std::unique_ptr<Nvram> make_board_nvram();  // only in builds linked with libnvram

}  // namespace board
