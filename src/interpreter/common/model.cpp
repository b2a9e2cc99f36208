#include "interpreter/common/model.h"

namespace interp {

namespace {

bool has(const std::string& code, const char* part) { return code.find(part) != std::string::npos; }

}  // namespace

Model Model::decode(const std::string& code) {
  Model m;
  m.code = code;
  if (has(code, "ZLT8DC"))
    m.layout = Layout::Dc8;
  else if (has(code, "ZLT8AC"))
    m.layout = Layout::Ac8;
  else if (has(code, "ZLT4AC"))
    m.layout = Layout::Ac4;
  m.dc = has(code, "ZLT8DC");
  if (has(code, "ZLT8AC"))
    m.outlets = 8;
  else if (has(code, "ZLT4AC"))
    m.outlets = 4;
  else if (has(code, "ZLT2AC"))
    m.outlets = 2;
  switch (m.layout) {
    case Layout::Dc8: m.outlet_table_rows = 8; m.measurement_rows = 8; break;
    case Layout::Ac8: m.outlet_table_rows = 9; m.measurement_rows = 9; break;
    case Layout::Ac4: m.outlet_table_rows = 9; m.measurement_rows = 4; break;
    case Layout::None: break;
  }
  m.status_dump_parsed = !has(code, "ZLT2AC") && !has(code, "ZLT8ACV");
  m.headers_arm_tables = !(has(code, "ZLT2AC") && has(code, "ZLT8ACV"));
  return m;
}

std::string Model::default_ocdt() const {
  std::string list;
  for (int i = 0; i < outlets; ++i) list += i ? ":0" : "0";
  return list;
}

}  // namespace interp
