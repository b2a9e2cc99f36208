#pragma once
// The client records that the channels share with the MCU reader.
#include <netinet/in.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace channels {

inline constexpr int kClientSlots = 1024;

// One connected peer. fd is -1 when the slot is free; the MCU reader reads it
// from its own thread, so it is one atomic word.
struct ClientEntry {
  std::atomic<int32_t> fd{-1};
  char name[20];         // "Client[%.2d]" over twenty '0', no terminator
  sockaddr_in addr;      // the peer as accept() gave it
};
static_assert(sizeof(std::atomic<int32_t>) == 4 && alignof(std::atomic<int32_t>) == 4,
              "the descriptor is a plain 32-bit word");
static_assert(std::atomic<int32_t>::is_always_lock_free, "descriptors are read without a lock");
static_assert(sizeof(sockaddr_in) == 16, "an IPv4 socket address is 16 bytes");
static_assert(offsetof(ClientEntry, name) == 4 && offsetof(ClientEntry, addr) == 24 &&
                  sizeof(ClientEntry) == 40,
              "ClientEntry is fd, name[20], addr");

// Fills name with twenty '0' and copies "Client[%.2d]" of slot over its start.
void fill_name(ClientEntry& entry, int slot);

using ClientTable = std::array<ClientEntry, kClientSlots>;

struct ClientTables {
  ClientTable TcpClient;
  ClientTable TelnetClient;         // nothing in this program fills it
  ClientTable WebTcpClient;
  ClientTable McuUpgradeTcpClient;  // nothing in this program fills it
  // The current entry of each table. 16 bits, so that every slot 0..1023 can
  // be named and a reply never goes to another client.
  std::atomic<uint16_t> TcpClientNum{0};
  std::atomic<uint16_t> TelnetClientNum{0};
  std::atomic<uint16_t> McuUpgradeTcpClientNum{0};
};

// Descriptors of passthrough sessions by session slot; -1 = none.
struct DescriptorTable {
  DescriptorTable() {
    for (auto& d : fd) d.store(-1);
  }
  std::atomic<int32_t>& operator[](size_t slot) { return fd[slot]; }
  std::array<std::atomic<int32_t>, kClientSlots> fd;
};

}  // namespace channels
