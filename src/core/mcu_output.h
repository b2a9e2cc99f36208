#pragma once
// Where the reader sends MCU output besides the interpreter: the client
// channels. The reader decides what goes (filters, MQTT payload); the channels
// know the sessions. The default sends nowhere.
#include <cstddef>

namespace core {

class McuOutput {
 public:
  virtual ~McuOutput() = default;
  // MachineType "7": every byte at once to the current telnet client.
  virtual void byte_to_telnet_client(char) {}
  // A message ended by '.' and silence: to the command client that spoke last.
  virtual void to_tcp_client(const char*, size_t) {}
  // A finished line for the telnet passthrough sessions (already filtered).
  virtual void to_telnet_sessions(const char*, size_t) {}
  // A finished line for the SSH sessions (already filtered): the whole
  // message with its length n.
  virtual void to_ssh_sessions(const char*, size_t) {}
};

}  // namespace core
