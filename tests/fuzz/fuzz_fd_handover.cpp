// The descriptor hand-over's receiving side. Every 4 input bytes are one
// hand-over: the port, the count of descriptors carried (0 to 253), the
// announced slot and its flag. Afterwards the descriptors open in this
// process, apart from those the tables hold, must be those open before:
// nothing received leaks.
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "channels/fd_passing.h"
#include "fuzz/rigs.h"

using namespace fuzz_support;

// The descriptors open in this process, less the passthrough tables' ones.
static std::set<int> unkept(channels::Channels& ch) {
  std::set<int> fds;
  DIR* d = ::opendir("/proc/self/fd");
  while (dirent* e = ::readdir(d))
    if (e->d_name[0] != '.' && std::atoi(e->d_name) != ::dirfd(d)) fds.insert(std::atoi(e->d_name));
  ::closedir(d);
  for (auto* table : {&ch.rev_fd, &ch.rev_fd8000})
    for (auto& fd : table->fd) fds.erase(fd.load());
  return fds;
}

// One hand-over of count descriptors (/dev/null) announcing slot with flag,
// taken by the server of port 23 or 8000 through a socket pair.
static void hand_over(channels::Channels& ch, bool port8000, int count, int slot, int32_t flag) {
  channels::SlotSegment* seg = port8000 ? ch.segments._Telnet8000 : ch.segments._Telnet23;
  channels::store(seg->announced, slot);
  channels::store(seg->slot[slot], flag);
  int sv[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0) fail("socketpair");
  std::vector<int> fds(static_cast<size_t>(count));
  for (int& fd : fds) fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  std::vector<char> control(CMSG_SPACE(sizeof(int) * fds.size()));
  char byte = 'x';
  iovec iov{&byte, 1};
  msghdr msg{nullptr, 0, &iov, 1, control.data(), control.size(), 0};  // no descriptors: an empty message
  cmsghdr* c = CMSG_FIRSTHDR(&msg);
  c->cmsg_level = SOL_SOCKET;
  c->cmsg_type = SCM_RIGHTS;
  c->cmsg_len = CMSG_LEN(sizeof(int) * fds.size());
  if (count > 0) std::memcpy(CMSG_DATA(c), fds.data(), sizeof(int) * fds.size());
  if (::sendmsg(sv[1], &msg, MSG_NOSIGNAL) != 1) fail("sendmsg");
  for (int fd : fds) ::close(fd);
  ::close(sv[1]);
  if (channels::receive_hand_over(ch, port8000 ? 8000 : 23, sv[0]) != 0) fail("hand-over not taken");
  ::close(sv[0]);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto* h = new ChannelsHarness;
  ::truncate(h->scratch.path("/printed.txt").c_str(), 0);  // the receiver's chatter
  const std::set<int> before = unkept(*h->ch);
  for (size_t i = 0; i + 4 <= size; i += 4)
    hand_over(*h->ch, data[i] & 1, data[i + 1] % 254, data[i + 2] % 4, static_cast<int8_t>(data[i + 3]));
  if (unkept(*h->ch) != before) fail("descriptors open afterwards differ from those kept");
  return 0;
}
