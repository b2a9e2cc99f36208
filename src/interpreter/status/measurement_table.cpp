#include "interpreter/status/measurement_table.h"

#include "interpreter/common/keys.h"
#include "interpreter/common/model.h"
#include "interpreter/status/status_modes.h"
#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

// Columns 1 to 5 of an outlet row; its column 6 is dropped.
const char* const kOutletKeys[] = {"Voltageout%d", "Carrent%d", "Power%d", "Consumed%d",
                                   "PowerFactor%d"};
// Columns 1 to 6 of the "SYS" row: the unit's totals.
const char* const kTotalKeys[] = {"Voltage",   "TotalCarrent", "TotalPower", "TotalEnergyConsumed",
                                  "PowerFactor", "Frequency"};

}  // namespace

// Live values, stored as the MCU wrote them (units included), nvram only.
int parse_measurement_row(Context& ctx, Layout, const char* row) {
  const int outlets = ctx.model.measurement_rows;
  if (outlets == 0) return 0;  // no layout: the table stays armed
  int id = 0;
  for_each_token(row, 7, [&](int column, const Token& token) {
    if (column == 0) {
      id = row_identity(token, outlets, true);
      if (id == outlets + 1) ctx.state.CheckStatusMode = kNoTable;
    } else if (id == outlets + 1) {
      ctx.nvram.set(kTotalKeys[column - 1], token.verbatim);
    } else if (id != 0 && column <= 5) {
      ctx.nvram.set(format_key(kOutletKeys[column - 1], id), token.verbatim);
    }
  });
  return 0;
}

}  // namespace interp
