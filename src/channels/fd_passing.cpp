#include "channels/fd_passing.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace channels {

namespace {

struct Port {
  const char* socket_path;
  SlotSegment* Segments::*segment;
  DescriptorTable Channels::*table;
  bool port8000;
};

int listen_unix(Channels& ch, const std::string& path) {
  ::unlink(path.c_str());
  board::make_parent_dirs(path);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    ch.board.print("server: create socket failed!\n");
    return -1;
  }
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
  if (path.size() >= sizeof a.sun_path || ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    ch.board.print("server: bind socket failed! errno=%d.\n", errno);
    ::close(fd);
    return -1;
  }
  if (::listen(fd, 5) != 0) {
    ch.board.print("server: listen socket failed! errno=%d.\n", errno);
    ::close(fd);
    return -1;
  }
  return fd;
}

void close_if_open(int fd) {
  if (fd >= 0) ::close(fd);
}

// Takes one hand-over from an accepted connection. Returns the recvmsg result
// when it failed, else 0.
int take_hand_over(Channels& ch, const Port& port, int conn) {
  char data[4096];
  alignas(cmsghdr) char control[4108];
  iovec iov{data, sizeof data};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  msg.msg_control = control;
  msg.msg_controllen = sizeof control;
  ch.board.print("server: recvmsg client!\n");
  ssize_t r = ::recvmsg(conn, &msg, MSG_CMSG_CLOEXEC);
  if (r < 0) {
    ch.board.print("server: recvmsg failed!\n");
    return static_cast<int>(r);
  }
  ch.board.print("server: recvmsg client end!\n");
  // Every descriptor that came along, in every header: the first of a leading
  // SCM_RIGHTS header is the session's, all others are closed, whatever the count.
  std::vector<int> carried;
  for (cmsghdr* h = CMSG_FIRSTHDR(&msg); h; h = CMSG_NXTHDR(&msg, h)) {
    if (h->cmsg_level != SOL_SOCKET || h->cmsg_type != SCM_RIGHTS) continue;
    size_t count = (h->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    size_t at = carried.size();
    carried.resize(at + count);
    std::memcpy(carried.data() + at, CMSG_DATA(h), count * sizeof(int));
  }
  cmsghdr* header = CMSG_FIRSTHDR(&msg);
  bool usable = header && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS &&
                !carried.empty();
  for (size_t k = usable ? 1 : 0; k < carried.size(); ++k) ::close(carried[k]);
  if (!header) {
    ch.board.print("No control message header found\n");
    return 0;
  }
  if (!port.port8000) ch.board.print("ctrl_msg->cmsg_len1=%d\n", static_cast<int>(msg.msg_controllen));
  ch.board.print("ctrl_msg->cmsg_len2=%d\n", static_cast<int>(msg.msg_controllen));
  if (header->cmsg_level != SOL_SOCKET) {
    ch.board.print("cmsg_level is not SOL_SOCKET\n");
    return 0;
  }
  if (header->cmsg_type != SCM_RIGHTS) {
    ch.board.print("cmsg_type is not SCM_RIGHTS");
    return 0;
  }
  int fd = usable ? carried[0] : -1;

  SlotSegment* seg = ch.segments.*port.segment;
  int32_t s = load(seg->announced);
  if (s < 0 || s >= kSessionSlots) {
    close_if_open(fd);
    return 0;
  }
  int32_t flag = load(seg->slot[s]);
  std::atomic<int32_t>& entry = (ch.*port.table)[static_cast<size_t>(s)];
  bool open = port.port8000 ? flag != 0 : flag >= 1;
  {
    std::lock_guard<std::mutex> hold(ch.send_lock);
    if (open && fd >= 0) {
      int old = entry.exchange(fd);
      if (old >= 0 && old != fd) ::close(old);
    } else {
      close_if_open(entry.exchange(-1));
      close_if_open(fd);
    }
  }
  if (port.port8000) {
    ch.board.print("result: recv fd[%d] = %d\n", s, entry.load());
    ch.board.print("server: recvmsg client end...2!\n");
  }
  return 0;
}

int serve(Channels& ch, const Port& port) {
  std::string path = ch.path(port.socket_path);
  int listen_fd = listen_unix(ch, path);
  if (listen_fd < 0) return -1;
  int result = 0;
  for (;;) {
    ch.board.print("server: accept client!\n");
    if (!wait_readable(ch, listen_fd)) break;
    int conn = ::accept4(listen_fd, nullptr, nullptr, SOCK_CLOEXEC);
    if (conn < 0) {
      ch.board.print("server: accept client failed!\n");
      continue;
    }
    ch.board.print("server: accept client end!\n");
    result = take_hand_over(ch, port, conn);
    ::close(conn);
    if (result < 0) break;
  }
  ::close(listen_fd);
  ::unlink(path.c_str());
  return result;
}

}  // namespace

int McuTcpUpgradeServer(Channels& ch) {
  return serve(ch, Port{file_server_socket, &Segments::_Telnet23, &Channels::rev_fd, false});
}

int McuTcpUpgradeServer8000(Channels& ch) {
  return serve(ch, Port{file_server_socket8000, &Segments::_Telnet8000, &Channels::rev_fd8000, true});
}

std::array<std::thread, 2> start_descriptor_servers(Channels& ch) {
  return {std::thread([&ch] { McuTcpUpgradeServer(ch); }),
          std::thread([&ch] { McuTcpUpgradeServer8000(ch); })};
}

}  // namespace channels
