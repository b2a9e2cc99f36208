#include "support/channels_harness.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "support/board_process.h"

namespace testing_support {

using Clock = std::chrono::steady_clock;

namespace {
// Milliseconds left until end, at least 0.
int left(Clock::time_point end) {
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
  return ms < 0 ? 0 : static_cast<int>(ms);
}
}  // namespace

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

void LockedMcu::clear() {
  std::lock_guard<std::mutex> hold(lock_);
  bytes_.clear();
}

bool LockedMcu::wait_for(const std::string& text) {
  std::unique_lock<std::mutex> hold(lock_);
  return changed_.wait_for(hold, kDeadline, [&] { return bytes_.find(text) != std::string::npos; });
}

ChannelsHarness::ChannelsHarness()
    : files(scratch.root()),
      settings(files),
      out_(std::fopen(scratch.path("/printed.txt").c_str(), "w")),
      board{files, nvram, settings, runner, clock, mcu, out_},
      segments(channels::Segments::open(scratch.root(), true)) {
  if (!segments) throw std::runtime_error("no shared memory segments");
  ch = std::make_unique<channels::Channels>(board, state, *segments);
  output = std::make_unique<channels::ChannelOutput>(*ch);
  for (auto* seg : {segments->_Telnet23, segments->_Telnet8000})
    for (auto& word : seg->slot) channels::store(word, channels::kFreeSlot);
}

void ChannelsHarness::stop() {
  ch->stop();
  for (auto& t : threads_)
    if (t.joinable()) t.join();
  threads_.clear();
}

ChannelsHarness::~ChannelsHarness() {
  stop();
  for (auto* table : {&ch->rev_fd, &ch->rev_fd8000})
    for (auto& fd : table->fd)
      if (fd.load() >= 0) ::close(fd.load());
  output.reset();
  ch.reset();
  segments.reset();
  std::fclose(out_);
}

Client::Client(int port) {
  fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
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

bool Client::read_some() {
  char buf[65536];
  ssize_t r = ::recv(fd_, buf, sizeof buf, 0);
  closed_ = r == 0 || (r < 0 && errno != EINTR && errno != EAGAIN);
  if (r <= 0) return false;
  received.append(buf, static_cast<size_t>(r));
  return true;
}

bool Client::read_until(const std::function<bool()>& done) {
  auto end = Clock::now() + kDeadline;
  while (!done()) {
    pollfd p{fd_, POLLIN, 0};
    if (::poll(&p, 1, left(end)) <= 0 || !read_some()) return false;
  }
  return true;
}

bool Client::wait_for(const std::string& text) {
  return read_until([&] { return received.find(text) != std::string::npos; });
}

bool Client::wait_bytes(size_t n) {
  return read_until([&] { return received.size() >= n; });
}

bool Client::wait_closed() { return !read_until([] { return false; }) && closed_; }

Listener::Listener() {
  fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 && ::listen(fd_, 8) == 0 &&
      ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len) == 0)
    port_ = ntohs(a.sin_port);
}

Listener::~Listener() {
  if (fd_ >= 0) ::close(fd_);
}

int Listener::accept_one() {
  pollfd p{fd_, POLLIN, 0};
  if (::poll(&p, 1, static_cast<int>(std::chrono::milliseconds(kDeadline).count())) <= 0) return -1;
  return ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
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
  if (pid_ > 0) {
    ::kill(-pid_, SIGTERM);  // its own process group: it and its helpers
    wait_exit();
  }
  if (out_ >= 0) ::close(out_);
}

bool Child::wait_for_output(const std::string& text) {
  auto end = Clock::now() + kDeadline;
  while (output.find(text) == std::string::npos) {
    pollfd p{out_, POLLIN, 0};
    if (::poll(&p, 1, left(end)) <= 0) return false;
    char buf[4096];
    ssize_t r = ::read(out_, buf, sizeof buf);
    if (r <= 0) return false;
    output.append(buf, static_cast<size_t>(r));
  }
  return true;
}

int Child::wait_exit() {
  if (pid_ <= 0) return -1;
  int status = 0;
  pid_t r;
  do r = ::waitpid(pid_, &status, 0);
  while (r < 0 && errno == EINTR);
  pid_ = -1;
  // Collect what is left of its output (helpers it left behind may still hold the pipe).
  if (out_ >= 0) ::fcntl(out_, F_SETFL, O_NONBLOCK);
  char buf[4096];
  ssize_t n;
  while (out_ >= 0 && (n = ::read(out_, buf, sizeof buf)) > 0) output.append(buf, static_cast<size_t>(n));
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string program(const std::string& name) { return std::string(PDUD_BINARY_DIR) + "/" + name; }

}  // namespace testing_support
