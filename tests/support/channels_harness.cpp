#include "support/channels_harness.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <dirent.h>

#include <cerrno>
#include <cstring>

#include "channels/fd_passing.h"

#include "support/board_process.h"

namespace testing_support {

constexpr std::chrono::seconds kDeadline{20};

ssize_t LockedMcu::write(const char* data, size_t n) {
  std::lock_guard<std::mutex> hold(lock_);
  bytes_.append(data, n);
  changed_.notify_all();
  return static_cast<ssize_t>(n);
}

std::string LockedMcu::bytes() const {
  std::lock_guard<std::mutex> hold(lock_);
  return bytes_;
}

bool LockedMcu::wait_for(const std::string& text) {
  std::unique_lock<std::mutex> hold(lock_);
  return changed_.wait_for(hold, kDeadline, [&] { return bytes_.find(text) != std::string::npos; });
}

ChannelsHarness::ChannelsHarness() : segments(channels::Segments::open(scratch.root(), true)) {
  if (!segments) throw std::runtime_error("no shared memory segments");
  ch = std::make_unique<channels::Channels>(board, state, *segments);
  output = std::make_unique<channels::ChannelOutput>(*ch);
  for (auto* seg : {segments->_Telnet23, segments->_Telnet8000})
    for (auto& word : seg->slot) channels::store(word, channels::kFreeSlot);
}

ChannelsHarness::~ChannelsHarness() {
  ch->stop();
  for (auto& t : threads) t.join();
  for (auto* table : {&ch->rev_fd, &ch->rev_fd8000})
    for (auto& fd : table->fd)
      if (fd.load() >= 0) ::close(fd.load());
}

bool read_until(int fd, std::string& into, const std::function<bool()>& done, bool* ended) {
  auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!done()) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    pollfd p{fd, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) <= 0) return false;
    char buf[65536];
    ssize_t r = ::read(fd, buf, sizeof buf);
    if (r < 0 && errno == EINTR) continue;
    if (ended) *ended = r <= 0;
    if (r <= 0) return false;
    into.append(buf, static_cast<size_t>(r));
  }
  return true;
}

Client::Client(int port, const char* address) {
  fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  ::inet_pton(AF_INET, address, &a.sin_addr);
  if (::connect(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

Client::~Client() {
  if (fd_ >= 0) ::close(fd_);
}

bool Client::send(const std::string& bytes) {
  return ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

bool Client::wait_closed() {
  bool ended = false;
  read_until(fd_, received, [] { return false; }, &ended);
  return ended;
}

int free_port() {
  int fd = channels::listen_tcp_or_exit(0, 1, "socket", "bind", "listen", "127.0.0.1");
  int port = channels::bound_port(fd);
  ::close(fd);
  return port;
}

Child::Child(const std::vector<std::string>& argv) {
  int pipe_fds[2];
  if (::pipe2(pipe_fds, O_CLOEXEC) != 0) return;
  // A built program of a cross-build runs behind the test emulator.
  std::vector<std::string> full;
  if (argv[0].rfind(PDUD_BINARY_DIR, 0) == 0) full = emulator_prefix();
  full.insert(full.end(), argv.begin(), argv.end());
  pid_ = start_process(full, pipe_fds[1], -1, true);
  ::close(pipe_fds[1]);
  out_ = pipe_fds[0];
}

Child::~Child() {
  if (pid_ > 0) ::kill(-pid_, SIGTERM);  // it and its helpers
  wait_exit();
  ::close(out_);
}

int Child::wait_exit() {
  if (pid_ <= 0) return -1;
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  // What is left of its output (helpers it left behind may still hold the pipe).
  ::fcntl(out_, F_SETFL, O_NONBLOCK);
  char buf[4096];
  for (ssize_t n; (n = ::read(out_, buf, sizeof buf)) > 0;) output.append(buf, static_cast<size_t>(n));
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool hand_over(channels::Channels& ch, int port, int count, int slot, int32_t flag) {
  channels::SlotSegment* seg = port == 8000 ? ch.segments._Telnet8000 : ch.segments._Telnet23;
  channels::store(seg->announced, slot);
  if (slot >= 0 && slot < channels::kSessionSlots) channels::store(seg->slot[slot], flag);
  int sv[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0) return false;
  std::vector<int> fds(static_cast<size_t>(std::max(count, 0)));
  for (int& fd : fds) fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  std::vector<char> control(CMSG_SPACE(sizeof(int) * fds.size()));
  char byte = 'x';
  iovec iov{&byte, 1};
  msghdr msg{nullptr, 0, &iov, 1, control.data(), control.size(), 0};
  cmsghdr* c = CMSG_FIRSTHDR(&msg);
  c->cmsg_level = SOL_SOCKET;
  c->cmsg_type = SCM_RIGHTS;
  c->cmsg_len = CMSG_LEN(sizeof(int) * fds.size());  // none: an empty message
  if (!fds.empty()) std::memcpy(CMSG_DATA(c), fds.data(), sizeof(int) * fds.size());
  bool sent = count < 0 || ::sendmsg(sv[1], &msg, MSG_NOSIGNAL) == 1;
  for (int fd : fds) ::close(fd);
  ::close(sv[1]);
  bool taken = sent && channels::receive_hand_over(ch, port, sv[0]) == 0;
  ::close(sv[0]);
  return taken;
}

std::set<int> unkept_descriptors(channels::Channels& ch) {
  std::set<int> fds;
  DIR* d = ::opendir("/proc/self/fd");
  while (dirent* e = ::readdir(d))
    if (e->d_name[0] != '.' && std::atoi(e->d_name) != ::dirfd(d)) fds.insert(std::atoi(e->d_name));
  ::closedir(d);
  for (auto* table : {&ch.rev_fd, &ch.rev_fd8000})
    for (auto& fd : table->fd) fds.erase(fd.load());
  return fds;
}

}  // namespace testing_support
