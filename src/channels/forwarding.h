#pragma once
// MCU output to the remote console users and the command clients: the
// channels' side of core::McuOutput. The reader decides which lines go; this
// side knows the sessions.
#include <cstddef>
#include <string>

#include "channels/channels.h"
#include "core/mcu_output.h"

namespace channels {

// Removes every "  telnet23" from text in place.
void remove_telnet23_manual(char* text);
// text with every CR LF pair turned into a lone CR.
std::string replace_crlf_with_cr(const char* text);

class ChannelOutput : public core::McuOutput {
 public:
  explicit ChannelOutput(Channels& ch);

  // MachineType "7": each byte to the current telnet client.
  void byte_to_telnet_client(char c) override;
  // A message ended by '.' and silence, to the command client that spoke last.
  void to_tcp_client(const char* data, size_t n) override;
  // A forwarded line to every open port-23 and port-8000 passthrough session.
  void to_telnet_sessions(const char* data, size_t n) override;
  // A forwarded line (the whole message, length n) to every SSH session, CR
  // LF turned into CR, when nvram "sshPushMsg" is "1".
  void to_ssh_sessions(const char* message, size_t n) override;

  // One port-23 session, when nvram "EnableTelnet" is "0" and the fourth
  // character of "Telnetradio" is '0'.
  void telnet_send(int slot, const char* data, size_t n);
  // Connects ssh_fd to the session of list entry slot. 0, or -1 after the
  // dead entry was dropped from the list.
  int ssh_connect(int slot);
  // One SSH line over a connection of its own; the result of closing it.
  int ssh_send(int slot, const char* data, size_t n);

 private:
  Channels& ch_;
  int ssh_fd = -1;
};

}  // namespace channels
