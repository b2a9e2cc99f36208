#include "interpreter/status/outlet_table.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "interpreter/common/codes.h"
#include "interpreter/common/keys.h"
#include "interpreter/common/ocdt.h"
#include "interpreter/common/model.h"
#include "interpreter/common/outlet_string.h"
#include "interpreter/status/status_modes.h"
#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

// The row being parsed: the model's layout and the outlet in column 0.
struct OutletRow {
  Layout layout;
  int outlets;  // 9 on AC units (the ninth is a measurement channel), 8 on DC
  int id = 0;   // 1..outlets, outlets + 1 for "SYS", 0 when column 0 named nothing

  bool outlet(int last) const { return id >= 1 && id <= last; }
};

using Column = void (*)(Context& ctx, OutletRow& row, int column, const Token& token);

void row_id(Context& ctx, OutletRow& row, int, const Token& token) {
  row.id = row_identity(token, row.outlets, true);
  // "SYS" closes the table; the rest of its row is still parsed.
  if (row.id == row.outlets + 1) ctx.state.CheckStatusMode = kNoTable;
}

void switch_state(Context& ctx, OutletRow& row, int, const Token& token) {
  if (!row.outlet(row.outlets)) return;
  const std::string key = format_key("Outlet%d", row.id);
  std::string value = outlet_string(ctx, kOutletOnOff, key, 0);
  value[0] = contains(token, "ON") || contains(token, "On") ? '1' : '0';
  ctx.nvram.set(key, value);
  if (row.id <= kSettingsOutlets) ctx.store(key, value);  // Outlet9 lives in nvram only
}

void status_word(Context& ctx, OutletRow& row, int, const Token& token) {
  if (row.id == 0) return;
  // "SYS" names no outlet: its row writes the stored string back as it is.
  if (!row.outlet(row.outlets)) {
    ctx.store(kTipoutlet.key, ctx.nvram.get_or(kTipoutlet.key, kTipoutlet.fallback));
    return;
  }
  std::string tip = outlet_string(ctx, kTipoutlet, static_cast<size_t>(row.id - 1));
  const char code = outlet_status_code(token.whole);
  if (code) tip[static_cast<size_t>(row.id - 1)] = code;
  if (row.id == kOutletPlaces && code == '0') ctx.nvram.set("Tio9", "0");
  ctx.store("Tipoutlet", tip);
}

void delay(Context& ctx, OutletRow& row, int column, const Token& token) {
  static const char* const kDelayKeys[] = {"Powerdelay%d", "Poweroffdelay%d", "Restadelay%d",
                                           "ResetDelay%d"};
  if (!row.outlet(kSettingsOutlets)) return;
  ctx.store(format_key(kDelayKeys[column - 3], row.id), token.verbatim);
}

void threshold_current(Context& ctx, OutletRow& row, int, const Token& token) {
  if (!row.outlet(kSettingsOutlets)) return;
  ctx.nvram.set(format_key("Thresholdcurrent%d", row.id), token.verbatim);
}

// OCDT: one delay code per outlet, "n:n:n:n" (ZLT4AC) or eight fields (ZLT8AC).
void overcurrent_delay(Context& ctx, OutletRow& row, int column, const Token& token) {
  if (!row.outlet(kSettingsOutlets)) return;
  ctx.print("OCDT i=%d, _input=%d, avgArr=%s\n", column, row.id, token.verbatim);
  const size_t count = static_cast<size_t>(ctx.model.outlets);
  const std::string old = ctx.nvram.get_or("OCDT", ctx.model.default_ocdt());
  std::vector<std::string> fields = split_ocdt(old, count, EmptyFields::Keep);
  fields.resize(count, "0");
  if (static_cast<size_t>(row.id) <= count) {
    fields[static_cast<size_t>(row.id - 1)] = std::to_string(map_delay_to_value(token.verbatim));
  }
  std::string joined;
  for (const std::string& field : fields) joined += (joined.empty() ? "" : ":") + field;
  ctx.nvram.set("OCDT", joined);
}

void output_voltage(Context& ctx, OutletRow& row, int, const Token& token) {
  if (!row.outlet(kSettingsOutlets)) return;
  const size_t at = static_cast<size_t>(row.id - 1);
  std::string codes = outlet_string(ctx, kDcvoltage, at);
  const char* code =
      first_keyword(token, {{"5V", "1"}, {"9V", "2"}, {"12V", "3"}, {"18V", "4"}, {"24V", "5"}});
  if (code) codes[at] = *code;
  ctx.store("Dcvoltage", codes);
}

// Two digits per outlet: "07" for 7, the first two characters from 10 up.
void voltage_limit(Context& ctx, OutletRow& row, int, const Token& column) {
  const char* token = column.verbatim;
  if (!row.outlet(kSettingsOutlets)) return;
  const size_t at = static_cast<size_t>(2 * row.id - 2);
  std::string limits = outlet_string(ctx, kMaxvotagevalue, at + 1);
  if (token[0] != '\0') {
    const bool single = std::atoi(token) < 10;
    limits[at] = single ? '0' : token[0];
    limits[at + 1] = single ? token[0] : (token[1] ? token[1] : '0');
  }
  ctx.store("Maxvotagevalue", limits);
}

void usb_port(Context& ctx, OutletRow& row, int, const Token& token) {
  if (!row.outlet(kSettingsOutlets)) return;
  const size_t at = static_cast<size_t>(row.id - 1);
  std::string usb = outlet_string(ctx, kOutletusb, at);
  usb[at] = contains(token, "ON") || contains(token, "On") ? '1' : '0';
  ctx.nvram.set("Outletusb", usb);
  ctx.nvram.set(format_key("Ousb%d", row.id), std::string(1, usb[at]));
  ctx.store("Outletusb", usb);
}

void usb_overload(Context& ctx, OutletRow& row, int, const Token& token) {
  if (!row.outlet(kSettingsOutlets)) return;
  const size_t at = static_cast<size_t>(row.id - 1);
  std::string action = outlet_string(ctx, kOutletusbaction, at);
  action[at] = contains(token, "Overload") ? '1' : '0';
  ctx.nvram.set("Outletusbaction", action);
  ctx.store("Outletusbaction", action);
}

const Column kAcColumns[] = {row_id, switch_state, status_word,       delay,            delay,
                             delay,  delay,        threshold_current, overcurrent_delay};

const Column kDcColumns[] = {row_id, switch_state,   status_word,   delay,    delay,       delay,
                             delay,  output_voltage, voltage_limit, usb_port, usb_overload};

template <size_t N>
void parse_with(Context& ctx, OutletRow& row, const char* text, const Column (&columns)[N]) {
  for_each_token(text, static_cast<int>(N),
                  [&](int column, const Token& token) { columns[column](ctx, row, column, token); });
}

}  // namespace

int parse_outlet_row(Context& ctx, Layout layout, const char* text) {
  switch (layout) {
    case Layout::Ac8:
    case Layout::Ac4: {
      OutletRow row{layout, ctx.model.outlet_table_rows};
      parse_with(ctx, row, text, kAcColumns);
      break;
    }
    case Layout::Dc8: {
      OutletRow row{layout, ctx.model.outlet_table_rows};
      parse_with(ctx, row, text, kDcColumns);
      break;
    }
    case Layout::None: break;  // no layout: the table stays armed
  }
  return 0;
}

}  // namespace interp
