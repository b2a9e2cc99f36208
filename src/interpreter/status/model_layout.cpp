#include "interpreter/status/model_layout.h"

#include "interpreter/common/tokenizer.h"

namespace interp {

Layout model_layout(const std::string& model) {
  if (contains(model.c_str(), "ZLT8DC")) return Layout::Dc8;
  if (contains(model.c_str(), "ZLT8AC")) return Layout::Ac8;
  if (contains(model.c_str(), "ZLT4AC")) return Layout::Ac4;
  return Layout::None;
}

}  // namespace interp
