// pdu-nvram: the host nvram store of a development root, from the shell.
//   pdu-nvram --root DIR get KEY | set KEY VALUE | unset KEY | show | commit
#include <getopt.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "board/nvram.h"

namespace {

int usage(std::FILE* to, int status) {
  std::fprintf(to,
               "usage: pdu-nvram --root DIR get KEY\n"
               "       pdu-nvram --root DIR set KEY VALUE\n"
               "       pdu-nvram --root DIR unset KEY\n"
               "       pdu-nvram --root DIR show\n"
               "       pdu-nvram --root DIR commit\n");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  std::string root_dir;
  static const option longopts[] = {{"root", required_argument, nullptr, 'r'},
                                     {"help", no_argument, nullptr, 'h'},
                                     {nullptr, 0, nullptr, 0}};
  int c;
  while ((c = getopt_long(argc, argv, "+r:h", longopts, nullptr)) != -1) {
    if (c == 'r') root_dir = optarg;
    else if (c == 'h') return usage(stdout, 0);
    else return usage(stderr, 2);
  }
  if (root_dir.empty()) {
    std::fprintf(stderr, "pdu-nvram: --root DIR is required\n");
    return usage(stderr, 2);
  }
  if (optind >= argc) return usage(stderr, 2);
  std::string cmd = argv[optind];
  int nargs = argc - optind - 1;
  char** args = argv + optind + 1;

  board::Root root(root_dir);
  board::HostNvram nvram(root);

  auto need = [&](int n) {
    if (nargs != n) {
      std::fprintf(stderr, "pdu-nvram: %s takes %d argument%s\n", cmd.c_str(), n, n == 1 ? "" : "s");
      return false;
    }
    return true;
  };
  auto key_ok = [&](const char* key) {
    if (board::HostNvram::valid_key(key)) return true;
    std::fprintf(stderr, "pdu-nvram: invalid key '%s'\n", key);
    return false;
  };

  if (cmd == "get") {
    if (!need(1) || !key_ok(args[0])) return 2;
    auto v = nvram.get(args[0]);
    if (!v) return 1;
    std::printf("%s\n", v->c_str());
    return 0;
  }
  if (cmd == "set") {
    if (!need(2) || !key_ok(args[0])) return 2;
    nvram.set(args[0], args[1]);
    return 0;
  }
  if (cmd == "unset") {
    if (!need(1) || !key_ok(args[0])) return 2;
    return nvram.unset(args[0]) ? 0 : 1;
  }
  if (cmd == "show") {
    if (!need(0)) return 2;
    for (const auto& [k, v] : nvram.all()) std::printf("%s=%s\n", k.c_str(), v.c_str());
    return 0;
  }
  if (cmd == "commit") {
    if (!need(0)) return 2;
    nvram.commit();
    return 0;
  }
  std::fprintf(stderr, "pdu-nvram: unknown command '%s'\n", cmd.c_str());
  return usage(stderr, 2);
}
