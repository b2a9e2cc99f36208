#pragma once
// The daemon's process-wide state. What more than one thread touches is atomic.
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace core {

struct SharedState {
  // nvram "MachineType", read once at start (absent: nullopt). Written before
  // any thread starts, read-only afterwards.
  std::optional<std::string> MachineType;
  bool machine_type_is(const char* code) const { return MachineType && *MachineType == code; }

  // The status-table selector armed by table headers (interpreter) and cleared
  // by the reader and the task queue.
  std::atomic<uint32_t> CheckStatusMode{0};
  // GUI feature flags, set by the WebSocket channel and read by the reader.
  std::atomic<int32_t> _checkWebSocketReflesh{0};
  std::atomic<int32_t> _checkWebSocketCableLinkQuality{0};
  // Query exchange with the GUI.
  std::atomic<int32_t> _readGetCommand{0};
  std::atomic<int32_t> _readGetCommandFirstOrSecond{0};
  std::atomic<int32_t> _readGetCommandFirstNumber{0};
};

}  // namespace core
