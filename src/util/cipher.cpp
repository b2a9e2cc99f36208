#include "util/cipher.h"

#include <openssl/evp.h>

#include <cstdio>
#include <cstring>

namespace util {

std::optional<std::string> aes_exec(board::CommandRunner& runner, const board::Root& root,
                                    const std::string& mode, const std::string& text) {
  // The unit's command line had to fit 1024 bytes; longer texts were refused unrun.
  char line[1024];
  int n = std::snprintf(line, sizeof line, "/bin/aes.sh %s '%s' 2>/dev/null", mode.c_str(), text.c_str());
  if (n < 0 || n >= static_cast<int>(sizeof line)) return std::nullopt;
  board::Capture c = runner.capture({root.path("/bin/aes.sh"), mode, text});
  if (c.status != 0 || c.output.empty()) return std::nullopt;
  if (c.output.back() == '\n') c.output.pop_back();
  return c.output;
}

std::optional<std::string> aes_encrypt(board::CommandRunner& runner, const board::Root& root,
                                       const std::string& text) {
  return aes_exec(runner, root, "-e", text);
}

std::optional<std::string> aes_decrypt(board::CommandRunner& runner, const board::Root& root,
                                       const std::string& text) {
  return aes_exec(runner, root, "-d", text);
}

char* get_str_md5(const char* text, char* out) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int len = 0;
  EVP_Digest(text, std::strlen(text), digest, &len, EVP_md5(), nullptr);
  char* p = out;
  for (unsigned int i = 0; i < len; ++i) p += std::sprintf(p, "%02x", digest[i]);
  *p = '\0';
  return p;
}

}  // namespace util
