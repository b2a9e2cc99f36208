#include "interpreter/outlet_state.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "interpreter/common/actions.h"
#include "interpreter/dispatcher.h"
#include "interpreter/common/outlet_string.h"
#include "records/interval_energy.h"

namespace interp {

namespace {

std::string outlet_key(const char* name, int n) { return name + std::to_string(n); }

// ---- energy clean-ups -------------------------------------------------------

int clean_all_outlets(Context& ctx, char*) {
  if (auto since = ctx.nvram.get("Energymeasured2")) ctx.nvram.set("EnergyMeasuredSince", *since);
  records::clean_interval_energy(ctx, 0);
  return 0;
}

// Unlike its recogniser, the parse needs the message to begin with the phrase.
int clean_one_outlet(Context& ctx, char*) {
  int n = 0;
  if (std::sscanf(ctx.message, "[SUCCESS]Clean Up The Outlet %d Electrical Work.", &n) != 1) return 0;
  if (n < 1 || n > kOutletPlaces) return 0;
  records::clean_interval_energy(ctx, static_cast<unsigned>(n));
  return 0;
}

// ---- all outlets and the key lock --------------------------------------------

// Every one of the eight outlets, whatever the model, to the row's value.
int all_outlets(Context& ctx, const Recogniser& r, char*) {
  const char* v = r.value;
  ctx.nvram.set("SystemOnOff", v);
  for (int n = 1; n <= kSettingsOutlets; ++n) ctx.settings.set(outlet_key("Outlet", n), v);
  for (int n = 1; n <= kSettingsOutlets; ++n) ctx.nvram.set(outlet_key("Outlet", n), v);
  return 0;
}

// The front-panel key lock: file line, then nvram.
// ---- GUI outlet status ---------------------------------------------------------

constexpr const char* kTipoutletDefault = kTipoutlet.fallback;

bool gui_outlet_status(Context& ctx) {
  if (!str_Endpoint(ctx.message, "[SUCCESS]GUI Outlet") || !str_Endpoint(ctx.message, "Current Status Is"))
    return false;
  const char* outlet = std::strstr(ctx.message, "Outlet");
  int k = std::atoi(outlet + std::strlen("Outlet"));
  ctx.print("outlet_num: %d\n", k);
  if (k < 1 || k > kOutletPlaces) return true;  // no place in the outlet string

  std::string tips = ctx.nvram.get_or("Tipoutlet", kTipoutletDefault);
  if (char code = outlet_status_code(outlet)) {
    // a shorter stored string is completed from the default
    if (tips.size() < static_cast<size_t>(k)) tips.resize(static_cast<size_t>(k), '1');
    tips[static_cast<size_t>(k - 1)] = code;
    ctx.nvram.set(outlet_key("Tio", k), std::string(1, code));
  }
  ctx.nvram.set("Tipoutlet", tips);
  return true;
}

// ---- one outlet switched -------------------------------------------------------

// The readings of a restarted outlet read zero; DC units show two decimals.
void zero_readings(Context& ctx, int n) {
  const bool dc = ctx.model.dc;
  ctx.nvram.set(outlet_key("Voltageout", n), dc ? "0.00V" : "0.000V");
  ctx.nvram.set(outlet_key("Carrent", n), dc ? "0.00A" : "0.000A");
  ctx.nvram.set(outlet_key("Power", n), dc ? "0.00W" : "0.000W");
  ctx.nvram.set(outlet_key("Consumed", n), "0.000000kWh");
  ctx.nvram.set(outlet_key("PowerFactor", n), "0.00");
}

// "<n> <word>" after the prefix. with_restart: the word "RESTA" is known too.
int switch_outlet(Context& ctx, const char* rest, bool with_restart) {
  char c = rest[0];
  if (c < '1' || c > '9') return 0;
  int n = c - '0';
  const char* word = rest[1] ? rest + 2 : rest + 1;  // after the digit and one blank
  std::string key = outlet_key("Outlet", n);
  std::string state = ctx.nvram.get_or(key, "0");

  // Outlet 7 is switched on only by the exact word "ON" at the end of the message.
  size_t on_width = n == 7 ? 7 : 2;
  bool matched = true;
  bool restart = false;
  if (std::strncmp(word, "ON", on_width) == 0) {
    state = "1";
  } else if (std::strncmp(word, "OF", 2) == 0) {
    state = "0";
  } else if (with_restart && std::strncmp(word, "RE", 2) == 0) {
    state = "0";
    restart = true;
  } else {
    matched = false;
  }

  if (matched) ctx.nvram.set(key, state);
  if (restart) zero_readings(ctx, n);
  if (n <= kSettingsOutlets) ctx.settings.set(key, state);  // written back also when unchanged
  return 0;
}

int set_outlet(Context& ctx, char* rest) { return switch_outlet(ctx, rest, true); }
int gui_set_outlet(Context& ctx, char* rest) { return switch_outlet(ctx, rest, false); }

const Recogniser kEnergyCleanup[] = {
    prefix("clean-up-all-outlets-electrical-work", "[SUCCESS]Clean Up All Outlets Electrical Work", clean_all_outlets),
    prefix("clean-up-outlet", "[SUCCESS]Clean Up The Outlet ", clean_one_outlet),
};

const Recogniser kAllOutletsAndKey[] = {
    data_row("set-all-outlets-on", "[SUCCESS]Set All Outlets ON", all_outlets, nullptr, "1"),
    data_row("set-all-outlets-off", "[SUCCESS]Set All Outlets OFF", all_outlets, nullptr, "0"),
    data_row("set-key-on", "[SUCCESS]Set Key ON", both_fixed, "powerlock", "1"),
    data_row("set-key-off", "[SUCCESS]Set Key OFF", both_fixed, "powerlock", "0"),
};

constexpr const char* kGuiOutletStatusNeeds[] = {"[SUCCESS]GUI Outlet", nullptr};
const Recogniser kGuiOutletStatus[] = {
    two_stage("gui-outlet-status", gui_outlet_status, kGuiOutletStatusNeeds),
};

const Recogniser kOutletSwitch[] = {
    prefix("set-outlet", "[SUCCESS]Set Outlet ", set_outlet),
    prefix("gui-set-outlet", "[SUCCESS]GUI Set Outlet ", gui_set_outlet),
};

}  // namespace

Row energy_cleanup_messages() { return row_of(kEnergyCleanup); }
Row all_outlets_and_key_messages() { return row_of(kAllOutletsAndKey); }
Row gui_outlet_status_messages() { return row_of(kGuiOutletStatus); }
Row outlet_switch_messages() { return row_of(kOutletSwitch); }

}  // namespace interp
