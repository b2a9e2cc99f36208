#include "channels/forwarding.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "channels/tcp_server.h"

namespace channels {

namespace {
constexpr char kPassthroughTag[] = "  telnet23";
constexpr char kMqttMarker[] = "MQTT ";
}  // namespace

void remove_telnet23_manual(char* text) {
  const size_t tag = sizeof kPassthroughTag - 1;
  char* out = text;
  for (const char* in = text; *in;) {
    if (std::strncmp(in, kPassthroughTag, tag) == 0) {
      in += tag;
      continue;
    }
    *out++ = *in++;
  }
  *out = '\0';
}

std::string replace_crlf_with_cr(const char* text) {
  std::string out;
  for (const char* p = text; *p; ++p) {
    out += *p;
    if (p[0] == '\r' && p[1] == '\n') ++p;
  }
  return out;
}

ChannelOutput::ChannelOutput(Channels& ch) : ch_(ch) {}

void ChannelOutput::byte_to_telnet_client(char c) {
  const ClientTables& t = ch_.clients;
  int fd = t.TelnetClient[t.TelnetClientNum.load() % kClientSlots].fd.load();
  if (fd >= 0) ::send(fd, &c, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void ChannelOutput::to_tcp_client(const char* data, size_t n) {
  // Never waits for the client: what it does not take now waits in its
  // outbox for the command server.
  std::lock_guard<std::mutex> hold(ch_.send_lock);
  tcp_client_send_locked(ch_, ch_.clients.TcpClientNum.load() % kClientSlots, data, n);
}

void ChannelOutput::to_telnet_sessions(const char* data, size_t n) {
  SlotSegment* s23 = ch_.segments._Telnet23;
  SlotSegment* s8000 = ch_.segments._Telnet8000;
  for (int i = 0; i < kSessionSlots; ++i) {
    if (load(s23->slot[i]) != kFreeSlot && ch_.rev_fd[i].load() != -1) telnet_send(i, data, n);
    std::lock_guard<std::mutex> hold(ch_.send_lock);
    int fd = ch_.rev_fd8000[i].load();
    if (load(s8000->slot[i]) != kFreeSlot && fd != -1) ::send(fd, data, n, MSG_DONTWAIT | MSG_NOSIGNAL);
  }
}

void ChannelOutput::telnet_send(int slot, const char* data, size_t n) {
  board::Nvram& nv = ch_.board.nvram;
  if (nv.get("EnableTelnet") != std::optional<std::string>("0")) return;
  std::string radio = nv.get_or("Telnetradio", "");
  if (radio.size() < 4 || radio[3] != '0') return;
  std::lock_guard<std::mutex> hold(ch_.send_lock);
  int fd = ch_.rev_fd[static_cast<size_t>(slot)].load();
  if (fd >= 0) ::send(fd, data, n, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void ChannelOutput::to_ssh_sessions(const char* message, size_t n) {
  SshSegment* list = ch_.segments._ssh;
  if (load(list->count) <= 0) return;
  if (ch_.board.nvram.get("sshPushMsg") != std::optional<std::string>("1")) return;
  // An MQTT line goes from its marker on; any other line as a copy with CR
  // LF turned into CR, sent at the message's own length (NULs past the
  // shorter copy's end).
  const char* mqtt = std::strstr(message, kMqttMarker);
  std::string copy = replace_crlf_with_cr(message);
  if (copy.empty()) return;
  copy.resize(std::max(copy.size(), n), '\0');
  for (int i = 0; i < kSshEntries && i < load(list->count); ++i) {
    if (list->entry[i][0] == '\0') continue;
    if (mqtt)
      ssh_send(i, mqtt, std::strlen(mqtt));
    else
      ssh_send(i, copy.data(), n);
  }
}

int ChannelOutput::ssh_connect(int slot) {
  SshSegment* list = ch_.segments._ssh;
  // Non-blocking: a session that cannot take its line at once loses it.
  ssh_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (ssh_fd < 0) return -1;
  char entry[kSshPath];
  std::memcpy(entry, list->entry[slot], kSshPath);
  entry[kSshPath - 1] = '\0';
  std::string path = ch_.path(entry);
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
  if (path.size() < sizeof a.sun_path &&
      ::connect(ssh_fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0)
    return 0;
  int err = errno;
  if (err == EAGAIN) {
    // The session's listen queue is full: it is busy, not gone.
    ::close(ssh_fd);
    ssh_fd = -1;
    return -1;
  }
  // The session is gone: drop its entry, the later ones move up.
  int count = std::min(load(list->count), static_cast<int32_t>(kSshEntries));
  for (int i = slot; i < count; ++i) {
    std::memset(list->entry[i], 0, kSshPath);
    if (i + 1 < kSshEntries) std::memcpy(list->entry[i], list->entry[i + 1], kSshPath);
  }
  if (count > 0) {
    std::memset(list->entry[count - 1], 0, kSshPath);
    store(list->count, count - 1);
  }
  errno = err;
  std::perror("open_port error\n");
  ::close(ssh_fd);
  ssh_fd = -1;
  return -1;
}

int ChannelOutput::ssh_send(int slot, const char* data, size_t n) {
  ssh_connect(slot);
  if (ssh_fd >= 0) ::send(ssh_fd, data, n, MSG_DONTWAIT | MSG_NOSIGNAL);
  int r = ::close(ssh_fd);
  ssh_fd = -1;
  return r;
}

}  // namespace channels
