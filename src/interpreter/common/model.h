#pragma once
// The unit's model code ("ZLTMerge"), decoded once per message into what the
// handlers need to know of it. Nothing else looks at the code.
#include <string>

namespace interp {

// The status dump's column layout of the model-dependent rows.
enum class Layout {
  None,  // no layout: the row is ignored
  Dc8,   // "ZLT8DC"
  Ac8,   // "ZLT8AC"
  Ac4,   // "ZLT4AC", "ZLT4AC2"
};

// Outlets the settings file and the web pages know, whatever the model.
inline constexpr int kSettingsOutlets = 8;
// Places of an outlet string and outlet numbers the MCU may name; the ninth
// is the AC units' measurement channel.
inline constexpr int kOutletPlaces = 9;

struct Model {
  std::string code;
  // Substring tests, in the order "ZLT8DC", "ZLT8AC", "ZLT4AC".
  Layout layout = Layout::None;
  // "ZLT8DC": DC outlets (two-decimal readings, output voltages, USB ports).
  bool dc = false;
  // AC outlets, by containment of "ZLT8AC", "ZLT4AC", "ZLT2AC" in this
  // order; 0 on DC units and unknown codes. The OCDT list has one field each.
  int outlets = 0;
  // Rows of the status dump's outlet table (9 on AC units, 8 on DC) and of its
  // measurement table (9, 4 or 8 by layout); 0 without a layout.
  int outlet_table_rows = 0;
  int measurement_rows = 0;
  // "ZLT2AC" and "ZLT8ACV" keep the status dump switched off.
  bool status_dump_parsed = true;
  // A table header arms its table on every code except one holding both
  // "ZLT2AC" and "ZLT8ACV".
  bool headers_arm_tables = true;

  static Model decode(const std::string& code);
  // The OCDT list with every outlet's delay code at 0 ("0:0:0:0" on ZLT4AC).
  std::string default_ocdt() const;
};

}  // namespace interp
