#include "interpreter/common/ocdt.h"

namespace interp {

std::vector<std::string> split_ocdt(const std::string& list, size_t n, EmptyFields empty) {
  std::vector<std::string> fields;
  if (empty == EmptyFields::Skip) {
    for (size_t pos = 0; fields.size() < n && pos < list.size();) {
      const size_t start = list.find_first_not_of(':', pos);
      if (start == std::string::npos) break;
      size_t stop = list.find(':', start);
      if (stop == std::string::npos) stop = list.size();
      fields.push_back(list.substr(start, stop - start));
      pos = stop;
    }
    return fields;
  }
  // An empty list is one empty field.
  for (size_t start = 0; fields.size() < n && start <= list.size();) {
    size_t end = list.find(':', start);
    if (end == std::string::npos) end = list.size();
    fields.push_back(list.substr(start, end - start));
    start = end + 1;
  }
  return fields;
}

}  // namespace interp
