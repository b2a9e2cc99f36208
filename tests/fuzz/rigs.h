#pragma once
// What the fuzz targets and their regression tests share: failing with the
// offending text, the descriptors open in this process, one descriptor
// hand-over as a passthrough process makes it, and the serial reader's
// surroundings.
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <set>
#include <utility>

#include "channels/fd_passing.h"
#include "core/serial_reader.h"
#include "support/channels_harness.h"

namespace fuzz_support {

using namespace testing_support;

[[noreturn]] inline void fail(const char* what, const std::string& detail = "") {
  std::fprintf(stderr, "%s: [%s]\n", what, detail.c_str());
  std::abort();
}

inline std::set<int> open_descriptors() {
  std::set<int> fds;
  DIR* d = ::opendir("/proc/self/fd");
  while (dirent* e = ::readdir(d))
    if (e->d_name[0] != '.' && std::atoi(e->d_name) != ::dirfd(d)) fds.insert(std::atoi(e->d_name));
  ::closedir(d);
  return fds;
}

// One hand-over of count descriptors (/dev/null) announcing slot with flag,
// taken by the server of port 23 or 8000 through a socket pair.
inline void hand_over(channels::Channels& ch, bool port8000, int count, int slot, int32_t flag) {
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
  msghdr msg{nullptr, 0, &iov, 1, nullptr, 0, 0};
  if (count > 0) {
    msg.msg_control = control.data();
    msg.msg_controllen = control.size();
    cmsghdr* c = CMSG_FIRSTHDR(&msg);
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    c->cmsg_len = CMSG_LEN(sizeof(int) * fds.size());
    std::memcpy(CMSG_DATA(c), fds.data(), sizeof(int) * fds.size());
  }
  if (::sendmsg(sv[1], &msg, MSG_NOSIGNAL) != 1) fail("sendmsg");
  for (int fd : fds) ::close(fd);
  ::close(sv[1]);
  if (channels::receive_hand_over(ch, port8000 ? 8000 : 23, sv[0]) != 0) fail("hand-over not taken");
  ::close(sv[0]);
}

// The board as recording doubles and a worker that collects every message
// queued for the interpreter.
struct ReaderRig {
  ScratchRoot scratch;
  MemoryNvram nvram;
  RecordingRunner runner;
  RecordingClock clock;
  RecordingMcu mcu;
  core::SharedState state;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> out{std::fopen("/dev/null", "w"), std::fclose};
  board::Board board{files, nvram, settings, runner, clock, mcu, out.get()};
  core::McuOutput nowhere;
  std::mutex lock;
  std::vector<std::string> queued;
  core::ThreadPool pool{state, [this](char* m) {
                          std::lock_guard<std::mutex> hold(lock);
                          queued.emplace_back(m);
                        }, out.get()};
  ReaderRig() { pool.start(); }
  // The messages queued since the last call, once the worker has them all.
  std::vector<std::string> take() {
    pool.drain();
    std::lock_guard<std::mutex> hold(lock);
    return std::exchange(queued, {});
  }
};

}  // namespace fuzz_support
