// --replay plays a trace of pdud --trace back as the MCU lines pdud read.
#include <gtest/gtest.h>

#include <sstream>

#include "board/trace_file.h"
#include "mcu-sim/transcript.h"

namespace {

std::string rx(long long mono, const std::string& bytes) {
  return "2026-11-23 10:00:00.000 " + std::to_string(mono) + " rx " + board::TraceFile::quoted(bytes) + "\n";
}

TEST(Transcript, ATraceGivesBackTheLinesTheDaemonReadWithTheirPauses) {
  std::istringstream in(rx(1000, "[SUCCESS]Set Outlet 3 OF") + rx(1002, "F\r\nTip:\x01\"q\"\\\r\n") +
                        "2026-11-23 10:00:00.010 1010 tx \"GUISTATUS\\r\\n\"\n" +
                        "2026-11-23 10:00:00.011 1011 row outlet-off keys: Outlet3\n" + rx(1500, "Get Time.") +
                        rx(1900, "Power Key\r\n"));
  mcusim::Transcript want = {{0, "[SUCCESS]Set Outlet 3 OFF"}, {0, "Tip:\x01\"q\"\\"}, {498, "Get Time."},
                             {400, "Power Key"}};
  EXPECT_EQ(mcusim::read_transcript(in), want);
}

TEST(Transcript, PlainLinesWaitWhatTheirPrefixSays) {
  std::istringstream in("first\n+250 second\n+40\n\nthird\r\n");
  mcusim::Transcript want = {{0, "first"}, {250, "second"}, {40, ""}, {0, "third"}};
  EXPECT_EQ(mcusim::read_transcript(in), want);
}

}  // namespace
