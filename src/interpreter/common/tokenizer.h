#pragma once
// Splitting a status-dump value row into its columns, and the keyword tests
// that the row parsers make on a column.
#include <cstddef>
#include <cstring>
#include <initializer_list>

namespace interp {

// A column longer than this is cut; the rest of it is still consumed.
constexpr size_t kTokenSize = 20;

// Hands the row's first `columns` columns to take(column, token), column 0
// first. Only a space ends a column; a run of spaces is one separator except
// after the last column. A row that ends early gives empty columns, so take()
// always runs `columns` times.
template <typename Take>
void for_each_column(const char* row, int columns, Take&& take) {
  const char* p = row ? row : "";
  for (int column = 0; column < columns; ++column) {
    char token[kTokenSize] = {};
    size_t length = 0;
    for (; *p != '\0' && *p != ' '; ++p) {
      if (length < kTokenSize - 1) token[length++] = *p;
    }
    take(column, static_cast<const char*>(token));
    if (column != columns - 1) {
      while (*p == ' ') ++p;
    }
  }
}

inline bool contains(const char* text, const char* word) {
  return text && word && std::strstr(text, word) != nullptr;
}

// A keyword test: the column contains `word`, giving `value`.
struct Keyword {
  const char* word;
  const char* value;
};

// The value of the first keyword that the token contains, or null.
inline const char* first_keyword(const char* token, std::initializer_list<Keyword> keywords) {
  for (const Keyword& k : keywords) {
    if (contains(token, k.word)) return k.value;
  }
  return nullptr;
}

// The row identity of a multi-row table, from column 0: n for the first of
// "1" .. "<last>" that it contains (so "10" is row 1), then last + 1 for "SYS"
// when the table has a "SYS" row; 0 when it contains none of them.
inline int row_identity(const char* token, int last, bool sys_row) {
  static const char* const kNumbers[] = {"1", "2", "3", "4", "5", "6", "7", "8", "9"};
  for (int n = 1; n <= last && n <= 9; ++n) {
    if (contains(token, kNumbers[n - 1])) return n;
  }
  if (sys_row && contains(token, "SYS")) return last + 1;
  return 0;
}

}  // namespace interp
