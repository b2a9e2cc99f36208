#pragma once
// The model code decides the column layout of the model-dependent rows.
#include <string>

namespace interp {

enum class Layout {
  None,  // no layout: the row is ignored
  Dc8,   // "ZLT8DC"
  Ac8,   // "ZLT8AC"
  Ac4,   // "ZLT4AC", "ZLT4AC2"
};

// Substring tests on the model code, in the order "ZLT8DC", "ZLT8AC", "ZLT4AC".
Layout model_layout(const std::string& model);

}  // namespace interp
