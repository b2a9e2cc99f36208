// ssh-session-peer: stands in for an SSH session process. It listens on a
// unix socket, registers that socket's path in pdud's SSH session list
// (shared memory 8001) and prints every line pdud sends, one per output
// line, with CR, LF, NUL and other control bytes written as \r, \n, \0, \xHH.
//   ssh-session-peer [--root DIR] --path /var/run/ssh_session_1 [--count N]
// With --count it ends after N lines; otherwise it runs until killed.
#include <getopt.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "board/files.h"
#include "board/root.h"
#include "channels/segments.h"

namespace {

int usage(std::FILE* to, int status) {
  std::fprintf(to, "usage: ssh-session-peer [--root DIR] --path UNIT_PATH [--count N]\n");
  return status;
}

void print_escaped(const std::string& s) {
  for (unsigned char ch : s) {
    if (ch == '\r') std::fputs("\\r", stdout);
    else if (ch == '\n') std::fputs("\\n", stdout);
    else if (ch == 0) std::fputs("\\0", stdout);
    else if (ch < 32 || ch > 126 || ch == '\\') std::printf("\\x%02X", ch);
    else std::putchar(ch);
  }
  std::putchar('\n');
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  std::string root_dir = "/", unit_path;
  long count = -1;
  static const option longopts[] = {{"root", required_argument, nullptr, 'r'},
                                     {"path", required_argument, nullptr, 'p'},
                                     {"count", required_argument, nullptr, 'n'},
                                     {"help", no_argument, nullptr, 'h'},
                                     {nullptr, 0, nullptr, 0}};
  int c;
  while ((c = getopt_long(argc, argv, "r:p:n:h", longopts, nullptr)) != -1) {
    switch (c) {
      case 'r': root_dir = optarg; break;
      case 'p': unit_path = optarg; break;
      case 'n': count = std::atol(optarg); break;
      case 'h': return usage(stdout, 0);
      default: return usage(stderr, 2);
    }
  }
  if (unit_path.empty() || unit_path.size() >= channels::kSshPath) return usage(stderr, 2);

  board::Root root(root_dir);
  std::string path = root.path(unit_path);
  board::make_parent_dirs(path);
  unlink(path.c_str());
  int l = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
  if (l < 0 || path.size() >= sizeof a.sun_path ||
      bind(l, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || listen(l, 16) != 0) {
    std::perror(path.c_str());
    return 1;
  }
  auto* list = static_cast<channels::SshSegment*>(
      channels::attach_segment(channels::segment_key(root, channels::kSshKey), sizeof(channels::SshSegment)));
  if (!list) return 1;
  int n = channels::load(list->count);
  if (n < 0 || n >= channels::kSshEntries) {
    std::fprintf(stderr, "ssh-session-peer: the session list is full\n");
    return 1;
  }
  std::memset(list->entry[n], 0, channels::kSshPath);
  std::memcpy(list->entry[n], unit_path.data(), unit_path.size());
  channels::store(list->count, n + 1);
  std::printf("registered %s as entry %d\n", unit_path.c_str(), n);
  std::fflush(stdout);

  for (long got = 0; count < 0 || got < count; ++got) {
    int conn = accept(l, nullptr, nullptr);
    if (conn < 0) continue;
    std::string line;
    char buf[4096];
    ssize_t r;
    while ((r = read(conn, buf, sizeof buf)) > 0) line.append(buf, static_cast<size_t>(r));
    close(conn);
    print_escaped(line);
  }
  close(l);
  unlink(path.c_str());
  return 0;
}
