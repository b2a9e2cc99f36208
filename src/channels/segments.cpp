#include "channels/segments.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdio>
#include <cstring>

namespace channels {

key_t segment_key(const board::Root& root, int unit_key) {
  if (root.is_system_root()) return static_cast<key_t>(unit_key);
  return ::ftok(root.dir().c_str(), unit_key & 0xff);
}

namespace {

int create(key_t key, size_t size) {
  if (key == static_cast<key_t>(-1)) {
    std::perror("create share memory failed!");
    return -1;
  }
  int id = ::shmget(key, size, 0660 | IPC_CREAT);
  if (id < 0) std::perror("create share memory failed!");
  return id;
}

void* attach(int id) {
  void* at = ::shmat(id, nullptr, 0);
  if (at == reinterpret_cast<void*>(-1)) {
    std::perror("can not attach");
    return nullptr;
  }
  return at;
}

}  // namespace

void* attach_segment(key_t key, size_t size) {
  int id = create(key, size);
  return id < 0 ? nullptr : attach(id);
}

std::unique_ptr<Segments> Segments::open(const board::Root& root, bool remove_at_end) {
  std::unique_ptr<Segments> s(new Segments);
  s->remove_at_end_ = remove_at_end;
  const int keys[3] = {kTelnet23Key, kTelnet8000Key, kSshKey};
  const size_t sizes[3] = {sizeof(SlotSegment), sizeof(SlotSegment), sizeof(SshSegment)};
  void* at[3] = {};
  for (int i = 0; i < 3; ++i) {
    s->ids_[i] = create(segment_key(root, keys[i]), sizes[i]);
    if (s->ids_[i] < 0 || !(at[i] = attach(s->ids_[i]))) return nullptr;
    if (i == 0) s->_Telnet23 = static_cast<SlotSegment*>(at[i]);
    if (i == 1) s->_Telnet8000 = static_cast<SlotSegment*>(at[i]);
    if (i == 2) s->_ssh = static_cast<SshSegment*>(at[i]);
  }
  store(s->_ssh->count, 0);
  std::memset(s->_ssh->entry, 0, sizeof s->_ssh->entry);
  return s;
}

Segments::~Segments() {
  void* at[3] = {_Telnet23, _Telnet8000, _ssh};
  for (int i = 0; i < 3; ++i) {
    if (at[i]) ::shmdt(at[i]);
    if (remove_at_end_ && ids_[i] >= 0) ::shmctl(ids_[i], IPC_RMID, nullptr);
  }
}

void Segments::remove() {
  for (int id : ids_)
    if (id >= 0) ::shmctl(id, IPC_RMID, nullptr);
}

}  // namespace channels
