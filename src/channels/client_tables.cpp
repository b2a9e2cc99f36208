#include "channels/client_tables.h"

#include <cstdio>
#include <cstring>

namespace channels {

void fill_name(ClientEntry& entry, int slot) {
  char text[sizeof entry.name + 1];
  std::memset(entry.name, '0', sizeof entry.name);
  int n = std::snprintf(text, sizeof text, "Client[%.2d]", slot);
  if (n > 0) std::memcpy(entry.name, text, std::min(static_cast<size_t>(n), sizeof entry.name));
}

}  // namespace channels
