// Table headers: which table each arms, the words it needs, the model gate,
// and its place in the recogniser chain.
#include <gtest/gtest.h>

#include <string>

#include "support/interpreter_harness.h"

namespace {

struct HeaderCase {
  const char* message;
  const char* model;
  uint32_t mode_before;
  uint32_t mode_after;
};

TEST(StatusHeaders, ArmTheirTables) {
  const HeaderCase cases[] = {
      {"VoltMonitorMode VoltMonitorRetryTime", "ZLT8AC", 0, 1},
      {"PowerLimit VoltMonitorMode VoltMonitorRetryTime", "ZLT8DC", 0, 1},
      {"PowerLimit", "ZLT8AC", 3, 1},
      {"Power Key Relay TCP/IP Baud Current", "ZLT8AC", 0, 3},
      {"Power Key Baud PowerLimit", "ZLT8AC", 0, 1},  // the voltage-monitor line comes first
      {"Outlet Status Tip PowerOnTime PowerOffTime PowerRestaTime EleReset", "ZLT4AC", 0, 4},
      {"SysStatus SysIntervalOn SysIntervalOff BeeperTime", "ZLT8AC", 4, 4},  // taken, arms nothing
      {"SafeMode RelayMode StandbyMode", "ZLT8AC", 0, 7},
      {"Outlet Voltage Current Power Consumed PowerFactor Frequency", "ZLT8AC", 0, 6},
      {"Sensor111 Power Protocol Address Code Beeper", "ZLT8AC", 0, 14},
      {"Outlet Sensor1Response1 Sensor1Trigger1 Sensor1Delay1 Sensor2Response1", "ZLT8AC", 0, 11},
      {"Outlet Sensor1Response2 Sensor1Trigger2 Sensor1Delay2 Sensor2Response2", "ZLT8AC", 0, 12},
      {"Outlet Sensor1Response3 Sensor1Trigger3 Sensor1Delay3 Sensor2Response3", "ZLT8AC", 0, 13},
      {"Power Key Baud", "ZLT9XX", 0, 3},  // an unknown model is armed as well
      {"Power Key Baud", "ZLT2AC", 0, 3},  // the header gate arms every real model
      {"Power Key Baud", "ZLT8ACV", 6, 3},
      {"Power Key Baud", "ZLT2AC+ZLT8ACV", 6, 6},  // both codes: the mode is left alone
      {"Outlet Status PowerOnTime EleReset", "ZLT2AC+ZLT8ACV", 0, 0},
  };
  for (const HeaderCase& c : cases) {
    testing_support::InterpreterHarness h;
    h.set_model(c.model);
    h.state.CheckStatusMode = c.mode_before;
    h.state._readGetCommand = 9;  // a header is taken before the no-match path
    EXPECT_EQ(h.feed(c.message), 0);
    EXPECT_EQ(h.state.CheckStatusMode.load(), c.mode_after) << c.message << " on " << c.model;
    EXPECT_EQ(h.state._readGetCommand.load(), 9) << c.message;
  }
}

TEST(StatusHeaders, MissingAWordIsNotAHeader) {
  // Each falls through to the no-match path, which clears the query state.
  const char* const messages[] = {
      "VoltMonitorMode only",
      "Power Key",
      "Outlet Status PowerOnTime",
      "SafeMode RelayMode",
      "Outlet Current Consumed",
      "Sensor111 Address Code",
      "Outlet Sensor1Response2 Sensor1Trigger2 Sensor1Delay2",
      "outlet status powerontime eleReset",
  };
  for (const char* message : messages) {
    testing_support::InterpreterHarness h;
    h.set_model("ZLT8AC");
    h.state._readGetCommand = 9;
    h.feed(message);
    EXPECT_EQ(h.state.CheckStatusMode.load(), 0u) << message;
    EXPECT_EQ(h.state._readGetCommand.load(), 0) << message;
  }
}

TEST(StatusHeaders, OutletHeaderAnnouncesItself) {
  testing_support::InterpreterHarness h;
  h.set_model("ZLT8AC");
  h.feed("Outlet Status PowerOnTime EleReset");
  EXPECT_EQ(h.take_output(), "\n**RV470_InputData=Outlet Status PowerOnTime EleReset\nCheckStatusMode=4\n");
  h.feed("SafeMode RelayMode StandbyMode");
  EXPECT_EQ(h.take_output().find("CheckStatusMode="), std::string::npos);
}

TEST(StatusHeaders, EarlierRecognisersWin) {
  struct Case {
    const char* message;
    const char* key;    // written by the earlier recogniser
    const char* value;
  };
  const Case cases[] = {
      {"[SUCCESS]Set Event1 Outlet2 Response Sensor1 Delay To 300ms. Power Key Baud", "sensor11delay2", "300ms"},
  };
  for (const Case& c : cases) {
    testing_support::InterpreterHarness h;
    h.set_model("ZLT8AC");
    h.feed(c.message);
    EXPECT_EQ(h.nv(c.key), c.value) << c.message;
    EXPECT_EQ(h.state.CheckStatusMode.load(), 0u) << c.message;
  }
}

}  // namespace
