#pragma once
// Interval energy records: "/user/intervalenergy" holds one "outlet energy"
// line per reading, written by another program on the unit. The daemon only
// removes records when the MCU confirms that an outlet's energy count, or
// every outlet's, was cleared.
#include "board/board.h"

namespace records {

inline constexpr const char* kIntervalEnergyPath = "/user/intervalenergy";
// At most this many records are kept while the file is rewritten.
inline constexpr int kIntervalEnergyRecords = 20;

// Removes the records of one outlet (1..8), or of all outlets for 0, keeping
// at most the first 20 records of the file. 0 when done or when there is no
// file; -1 when the file could not be rewritten.
int clean_interval_energy(board::Board& b, unsigned outlet);

}  // namespace records
