#pragma once
// A passthrough process's side of the descriptor hand-over, for the fuzz
// target and its regression tests: the descriptors open in this process, and
// one hand-over of count descriptors (/dev/null) announcing slot with flag.
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "channels/fd_passing.h"
#include "support/channels_harness.h"

namespace fuzz_support {

using namespace testing_support;

inline std::set<int> open_descriptors() {
  std::set<int> fds;
  DIR* d = ::opendir("/proc/self/fd");
  while (dirent* e = ::readdir(d))
    if (e->d_name[0] != '.' && std::atoi(e->d_name) != ::dirfd(d)) fds.insert(std::atoi(e->d_name));
  ::closedir(d);
  return fds;
}

// Starts both descriptor servers and waits until their sockets exist.
inline bool start_servers(ChannelsHarness& h) {
  for (std::thread& t : channels::start_descriptor_servers(*h.ch)) h.run(std::move(t));
  return wait_until([&] {
    return ::access(h.ch->path(channels::file_server_socket).c_str(), F_OK) == 0 &&
           ::access(h.ch->path(channels::file_server_socket8000).c_str(), F_OK) == 0;
  });
}

inline int connect_to(const std::string& path) {
  int fd = -1;
  wait_until([&] {
    fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) return true;
    ::close(fd);
    fd = -1;
    return false;
  });
  return fd;
}

// False when the server did not take it (no server, or it kept the connection).
inline bool hand_over(ChannelsHarness& h, bool port8000, int count, int slot, int32_t flag) {
  channels::SlotSegment* seg = port8000 ? h.segments->_Telnet8000 : h.segments->_Telnet23;
  channels::store(seg->announced, slot);
  channels::store(seg->slot[slot], flag);
  int conn = connect_to(h.ch->path(port8000 ? channels::file_server_socket8000 : channels::file_server_socket));
  if (conn < 0) return false;
  std::vector<int> fds(static_cast<size_t>(count));
  for (int& fd : fds) fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  std::vector<char> control(CMSG_SPACE(sizeof(int) * fds.size()));
  char byte = 'x';
  iovec iov{&byte, 1};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  if (count > 0) {
    msg.msg_control = control.data();
    msg.msg_controllen = control.size();
    cmsghdr* c = CMSG_FIRSTHDR(&msg);
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    c->cmsg_len = CMSG_LEN(sizeof(int) * fds.size());
    std::memcpy(CMSG_DATA(c), fds.data(), sizeof(int) * fds.size());
  }
  bool sent = ::sendmsg(conn, &msg, MSG_NOSIGNAL) == 1;
  for (int fd : fds) ::close(fd);
  // The server closes its end once the hand-over is taken.
  bool taken = sent && ::recv(conn, &byte, 1, 0) == 0;
  ::close(conn);
  return taken;
}

}  // namespace fuzz_support
