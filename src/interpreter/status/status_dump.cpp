#include "interpreter/status/status_dump.h"

#include "interpreter/status/measurement_table.h"
#include "interpreter/common/model.h"
#include "interpreter/status/outlet_table.h"
#include "interpreter/status/sensor_tables.h"
#include "interpreter/status/status_modes.h"
#include "interpreter/status/system_rows.h"
#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

template <int ResponseSet>
int parse_sensor_rule_set(Context& ctx, Layout, const char* row) {
  return parse_sensor_rule_row(ctx, row, ResponseSet);
}

struct RowParser {
  uint32_t mode;
  int (*parse)(Context&, Layout, const char* row);
};

// Tried in this order; the first whose table is armed parses the row.
const RowParser kRowParsers[] = {
    {kSystemTable, parse_system_row},
    {kVoltageMonitorTable, parse_voltage_monitor_row},
    {kOutletTable, parse_outlet_row},
    {kInitialisationTable, parse_initialisation_row},
    {kSystemModeTable, parse_system_mode_row},
    {kMeasurementTable, parse_measurement_row},
    {kSensorPortTable, parse_sensor_port_row},
    {kSensorRuleTable1, parse_sensor_rule_set<1>},
    {kSensorRuleTable2, parse_sensor_rule_set<2>},
    {kSensorRuleTable3, parse_sensor_rule_set<3>},
};

}  // namespace

int status_dump(Context& ctx, char* message) {
  ctx.state._readGetCommandFirstOrSecond = 0;
  ctx.state._readGetCommandFirstNumber = 0;
  ctx.state._readGetCommand = 0;

  // These two models keep the status dump switched off.
  if (!ctx.model.status_dump_parsed) ctx.state.CheckStatusMode = kNoTable;

  const uint32_t mode = ctx.state.CheckStatusMode;
  for (const RowParser& parser : kRowParsers) {
    if (parser.mode != mode) continue;
    ctx.status_table = mode;
    return parser.parse(ctx, ctx.model.layout, message);
  }
  return 0;
}

}  // namespace interp
