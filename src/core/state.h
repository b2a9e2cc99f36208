#pragma once
// The daemon's process-wide state. What more than one thread touches is atomic.
#include <atomic>
#include <chrono>
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

  // Health counters for the metrics endpoint. 32-bit, so that the 32-bit
  // board needs no atomic library; a wrap reads as a counter reset.
  std::atomic<uint32_t> messages_interpreted{0};  // by the worker
  std::atomic<uint32_t> dropped_by_queue{0};      // the queue's trims
  std::atomic<uint32_t> dropped_by_reader{0};     // overlong or NUL-holding messages
  // Monotonic milliseconds (mod 2^32) of the last complete MCU message; valid
  // once mcu_heard is set.
  std::atomic<uint32_t> last_message_ms{0};
  std::atomic<bool> mcu_heard{false};
  void note_mcu_message() {
    last_message_ms.store(monotonic_ms());
    mcu_heard.store(true);
  }
  // Seconds since the last complete MCU message; negative before the first.
  double seconds_since_mcu_message() const {
    if (!mcu_heard.load()) return -1;
    return static_cast<uint32_t>(monotonic_ms() - last_message_ms.load()) / 1000.0;
  }
  static uint32_t monotonic_ms() {
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
  }
};

}  // namespace core
