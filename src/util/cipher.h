#pragma once
// The board's cipher script and the MD5 digest.
#include <optional>
#include <string>

#include "board/command_runner.h"
#include "board/root.h"

namespace util {

// "/bin/aes.sh" (under the root) with "-e"/"-d" and the text, no shell. The
// result without one trailing newline; nothing on a failed or silent script,
// or when the unit's command line "/bin/aes.sh %s '%s' 2>/dev/null" would not
// fit its 1024-byte buffer.
std::optional<std::string> aes_exec(board::CommandRunner& runner, const board::Root& root,
                                    const std::string& mode, const std::string& text);
std::optional<std::string> aes_encrypt(board::CommandRunner& runner, const board::Root& root,
                                       const std::string& text);
std::optional<std::string> aes_decrypt(board::CommandRunner& runner, const board::Root& root,
                                       const std::string& text);

// 32 lower-case hex digits of the MD5 digest into out (at least 33 bytes);
// returns a pointer to the terminator.
char* get_str_md5(const char* text, char* out);

}  // namespace util
