#pragma once
// The transcript that --replay plays: one MCU line per line, a line "+MS" or
// "+MS text" waiting MS milliseconds first; or a trace file written by
// `pdud --trace`, whose "rx" records (the bytes pdud read from the MCU) are
// played back as lines with the pauses the trace recorded.
#include <istream>
#include <string>
#include <utility>
#include <vector>

namespace mcusim {

// (delay in ms before it, MCU line or empty for a bare wait)
using Transcript = std::vector<std::pair<long, std::string>>;

Transcript read_transcript(std::istream& in);

}  // namespace mcusim
