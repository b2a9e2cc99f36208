#include "records/interval_energy.h"

#include <cstdio>
#include <string>

namespace records {

namespace {

struct EnergyRecord {
  int outlet;
  float energy;
};

// Reads "%d %f" records for as long as both fields parse, keeping the first
// twenty; a twenty-first record ends the reading.
int read_records(const std::string& text, EnergyRecord (&kept)[kIntervalEnergyRecords]) {
  int count = 0;
  const char* p = text.c_str();
  for (;;) {
    EnergyRecord r{};
    int used = 0;
    if (std::sscanf(p, "%d %f%n", &r.outlet, &r.energy, &used) != 2) break;
    p += used;
    if (count == kIntervalEnergyRecords) break;
    kept[count++] = r;
  }
  return count;
}

}  // namespace

int clean_interval_energy(board::Board& b, unsigned outlet) {
  auto text = b.files.read(kIntervalEnergyPath);
  if (!text) return 0;

  EnergyRecord kept[kIntervalEnergyRecords];
  int count = read_records(*text, kept);

  std::string out;
  int removed = 0;
  for (int i = 0; i < count; ++i) {
    if (outlet != 0 && static_cast<long long>(kept[i].outlet) != static_cast<long long>(outlet)) {
      char line[96];
      std::snprintf(line, sizeof line, "%d %.6f\n", kept[i].outlet, static_cast<double>(kept[i].energy));
      out += line;
    } else {
      ++removed;
    }
  }

  if (!b.files.replace(kIntervalEnergyPath, out)) {
    std::fprintf(stderr, "Error: cannot write to %s\n", kIntervalEnergyPath);
    return -1;
  }
  if (removed < 1)
    b.print("No record found for outlet %d.\n", static_cast<int>(outlet));
  else
    b.print("Cleaned %d record(s) for outlet %d.\n", removed, static_cast<int>(outlet));
  return 0;
}

}  // namespace records
