#include "interpreter/status/status_headers.h"

#include "interpreter/status/status_modes.h"
#include "interpreter/status/tokenizer.h"

namespace interp {

namespace {

// A table header: the words the message must all contain, the table it arms
// (or none), and the line printed when it is recognised.
struct TableHeader {
  const char* words[6];
  bool arms;
  uint32_t mode;
  const char* announce;
};

constexpr TableHeader kHeaders[] = {
    {{"VoltMonitorMode", "VoltMonitorRetryTime"}, true, kVoltageMonitorTable, nullptr},
    {{"PowerLimit"}, true, kVoltageMonitorTable, nullptr},
    {{"Power", "Key", "Baud"}, true, kSystemTable, nullptr},
    {{"Outlet", "Status", "PowerOnTime", "EleReset"}, true, kOutletTable, "CheckStatusMode=4\n"},
    {{"SysStatus", "SysIntervalOn", "SysIntervalOff", "BeeperTime"}, false, 0, nullptr},
    {{"SafeMode", "RelayMode", "StandbyMode"}, true, kSystemModeTable, nullptr},
    {{"Outlet", "Current", "Consumed", "Frequency"}, true, kMeasurementTable, nullptr},
    {{"Sensor111", "Address", "Code", "Beeper"}, true, kSensorPortTable, nullptr},
    {{"Outlet", "Sensor1Response1", "Sensor1Trigger1", "Sensor1Delay1", "Sensor2Response1"}, true,
     kSensorRuleTable1, nullptr},
    {{"Outlet", "Sensor1Response2", "Sensor1Trigger2", "Sensor1Delay2", "Sensor2Response2"}, true,
     kSensorRuleTable2, nullptr},
    {{"Outlet", "Sensor1Response3", "Sensor1Trigger3", "Sensor1Delay3", "Sensor2Response3"}, true,
     kSensorRuleTable3, nullptr},
};

// The model gate of the headers. It arms the table on every model code; the
// no-match path is what keeps the ZLT2AC and ZLT8ACV models out of the dump.
void arm_table(Context& ctx, uint32_t mode) {
  const std::string model = ctx.model();
  if (!contains(model.c_str(), "ZLT2AC")) {
    ctx.state.CheckStatusMode = mode;
  } else if (contains(model.c_str(), "ZLT8ACV")) {
    // left as it was
  } else {
    ctx.state.CheckStatusMode = mode;
  }
}

template <size_t I>
bool table_header(Context& ctx) {
  const TableHeader& header = kHeaders[I];
  for (const char* word : header.words) {
    if (word && !contains(ctx.message, word)) return false;
  }
  if (header.announce) ctx.print("%s", header.announce);
  if (header.arms) arm_table(ctx, header.mode);
  return true;
}

const Recogniser kStatusHeaderMessages[] = {
    two_stage(table_header<0>), two_stage(table_header<1>), two_stage(table_header<2>),
    two_stage(table_header<3>), two_stage(table_header<4>), two_stage(table_header<5>),
    two_stage(table_header<6>), two_stage(table_header<7>), two_stage(table_header<8>),
    two_stage(table_header<9>), two_stage(table_header<10>),
};
static_assert(sizeof kStatusHeaderMessages / sizeof kStatusHeaderMessages[0] ==
              sizeof kHeaders / sizeof kHeaders[0]);

}  // namespace

Row status_header_messages() { return row_of(kStatusHeaderMessages); }

}  // namespace interp
