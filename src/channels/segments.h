#pragma once
// The System V shared-memory segments that the telnet passthrough and SSH
// processes share with the daemon:
//   8891 (4100 bytes) port-23 session slots, 8892 (4100 bytes) port-8000
//   session slots, 8001 (5004 bytes) the SSH session list.
// On the unit the keys are the numbers themselves. Under another root the key
// is derived from the root directory, so daemons with different roots share
// nothing. Other processes change these words at any time: every access goes
// through load()/store(), one atomic word each.
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "board/root.h"

namespace channels {

inline constexpr int kSessionSlots = 1024;
inline constexpr int32_t kFreeSlot = -1;  // slot word 0xFFFFFFFF

// Segments 8891 and 8892: word 0 is the slot the passthrough process is
// announcing; word 1 + s is the open flag of slot s (-1 free, 0 closed, > 0 open).
struct SlotSegment {
  int32_t announced;
  int32_t slot[kSessionSlots];
};
static_assert(sizeof(SlotSegment) == 4100, "segments 8891/8892 hold 1025 32-bit words");
static_assert(offsetof(SlotSegment, slot) == 4, "slot words follow the announced slot");

inline constexpr int kSshEntries = 100;
inline constexpr size_t kSshPath = 50;

// Segment 8001: a count of registered entries, then 100 NUL-terminated unix
// socket paths of 50 bytes. An entry is live when its first byte is not 0.
struct SshSegment {
  int32_t count;
  char entry[kSshEntries][kSshPath];
};
static_assert(sizeof(SshSegment) == 5004, "segment 8001 is a count and 100 entries of 50 bytes");
static_assert(offsetof(SshSegment, entry) == 4, "entries follow the count");

inline int32_t load(const int32_t& word) { return __atomic_load_n(&word, __ATOMIC_ACQUIRE); }
inline void store(int32_t& word, int32_t value) { __atomic_store_n(&word, value, __ATOMIC_RELEASE); }

inline constexpr int kTelnet23Key = 8891;
inline constexpr int kTelnet8000Key = 8892;
inline constexpr int kSshKey = 8001;

// The key of a unit segment under this root: the number itself on the unit,
// otherwise ftok() of the root directory (one project id per segment).
key_t segment_key(const board::Root& root, int unit_key);

// Creates or opens (IPC_CREAT, mode 0660) and attaches one segment. Null after
// perror "create share memory failed!" or "can not attach".
void* attach_segment(key_t key, size_t size);

class Segments {
 public:
  // The three segments of this root. Segment 8001 is cleared (count 0, all
  // entries zeroed); 8891 and 8892 stay as they are. Null on failure.
  // remove_at_end: mark the segments for removal when this object goes (host
  // runs and tests); the unit keeps them for the life of the system.
  static std::unique_ptr<Segments> open(const board::Root& root, bool remove_at_end);
  ~Segments();
  // Marks the segments for removal now; the attachments stay valid until the
  // process ends (host mode's SIGTERM).
  void remove();
  Segments(const Segments&) = delete;
  Segments& operator=(const Segments&) = delete;

  SlotSegment* _Telnet23 = nullptr;
  SlotSegment* _Telnet8000 = nullptr;
  SshSegment* _ssh = nullptr;

 private:
  Segments() = default;
  bool remove_at_end_ = false;
  int ids_[3] = {-1, -1, -1};
};

}  // namespace channels
