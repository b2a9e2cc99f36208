#pragma once
// The OCDT list: one over-current delay code per outlet, "0:1:0:0".
#include <cstddef>
#include <string>
#include <vector>

namespace interp {

// How adjacent ':' read: the confirmations read the list as strtok does and
// skip empty fields; the status dump keeps them.
enum class EmptyFields { Skip, Keep };

// At most n fields of the list, first field first.
std::vector<std::string> split_ocdt(const std::string& list, size_t n, EmptyFields empty);

}  // namespace interp
