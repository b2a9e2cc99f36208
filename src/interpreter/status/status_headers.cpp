#include "interpreter/status/status_headers.h"

#include "interpreter/status/status_modes.h"
#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

// A table header: the words the message must all contain, the table it arms
// (kNoTable: none), and the line printed when it is recognised.
struct TableHeader {
  const char* words[6];
  uint32_t mode;
  const char* announce;
};

constexpr TableHeader kHeaders[] = {
    {{"VoltMonitorMode", "VoltMonitorRetryTime"}, kVoltageMonitorTable, nullptr},
    {{"PowerLimit"}, kVoltageMonitorTable, nullptr},
    {{"Power", "Key", "Baud"}, kSystemTable, nullptr},
    {{"Outlet", "Status", "PowerOnTime", "EleReset"}, kOutletTable, "CheckStatusMode=4\n"},
    {{"SysStatus", "SysIntervalOn", "SysIntervalOff", "BeeperTime"}, kNoTable, nullptr},
    {{"SafeMode", "RelayMode", "StandbyMode"}, kSystemModeTable, nullptr},
    {{"Outlet", "Current", "Consumed", "Frequency"}, kMeasurementTable, nullptr},
    {{"Sensor111", "Address", "Code", "Beeper"}, kSensorPortTable, nullptr},
    {{"Outlet", "Sensor1Response1", "Sensor1Trigger1", "Sensor1Delay1", "Sensor2Response1"},
     kSensorRuleTable1, nullptr},
    {{"Outlet", "Sensor1Response2", "Sensor1Trigger2", "Sensor1Delay2", "Sensor2Response2"},
     kSensorRuleTable2, nullptr},
    {{"Outlet", "Sensor1Response3", "Sensor1Trigger3", "Sensor1Delay3", "Sensor2Response3"},
     kSensorRuleTable3, nullptr},
};

// The model gate of the headers. It arms the table on every model code; the
// no-match path is what keeps the ZLT2AC and ZLT8ACV models out of the dump.
void arm_table(Context& ctx, uint32_t mode) {
  if (ctx.model.headers_arm_tables) ctx.state.CheckStatusMode = mode;
}

// The headers are tried in their order; the first whose words are all in the
// message takes it.
bool table_header(Context& ctx) {
  for (const TableHeader& header : kHeaders) {
    bool all = true;
    for (const char* word : header.words) all = all && (!word || contains(ctx.message, word));
    if (!all) continue;
    if (header.announce) ctx.print("%s", header.announce);
    if (header.mode != kNoTable) arm_table(ctx, header.mode);
    return true;
  }
  return false;
}

// Every header above contains the first word of one of these ("PowerLimit"
// contains "Power").
constexpr const char* kTableHeaderNeeds[] = {"VoltMonitorMode", "Power", "Outlet", "SysStatus",
                                             "SafeMode", "Sensor111", nullptr};
const Recogniser kStatusHeaderMessages[] = {two_stage("table-header", table_header, kTableHeaderNeeds)};

}  // namespace

Row status_header_messages() { return row_of(kStatusHeaderMessages); }

}  // namespace interp
