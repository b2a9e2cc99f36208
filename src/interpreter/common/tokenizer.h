#pragma once
// Splitting a status-dump value row into its columns, and the keyword tests
// that the row parsers make on a column.
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string>

namespace interp {

// A column stored verbatim keeps its first kTokenSize - 1 characters; the
// rest of it is still consumed.
constexpr size_t kTokenSize = 20;

// One column of a row. Keyword tests look at the whole column (bounded by
// the message); a column stored as it came keeps only its first 19
// characters, as the web pages expect.
struct Token {
  const char* whole;
  const char* verbatim;
};

// Hands the row's first `columns` columns to take(column, token), column 0
// first. Only a space ends a column; a run of spaces is one separator except
// after the last column. A row that ends early gives empty columns, so take()
// always runs `columns` times.
template <typename Take>
void for_each_token(const char* row, int columns, Take&& take) {
  const char* p = row ? row : "";
  std::string whole;
  for (int column = 0; column < columns; ++column) {
    const char* start = p;
    while (*p != '\0' && *p != ' ') ++p;
    whole.assign(start, static_cast<size_t>(p - start));
    char verbatim[kTokenSize] = {};
    whole.copy(verbatim, kTokenSize - 1);
    take(column, Token{whole.c_str(), verbatim});
    if (column != columns - 1) {
      while (*p == ' ') ++p;
    }
  }
}

// The same, each column as it is stored (cut at 19 characters).
template <typename Take>
void for_each_column(const char* row, int columns, Take&& take) {
  for_each_token(row, columns, [&](int column, const Token& token) {
    take(column, static_cast<const char*>(token.verbatim));
  });
}

inline bool contains(const char* text, const char* word) {
  return text && word && std::strstr(text, word) != nullptr;
}
inline bool contains(const Token& token, const char* word) { return contains(token.whole, word); }

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
inline const char* first_keyword(const Token& token, std::initializer_list<Keyword> keywords) {
  return first_keyword(token.whole, keywords);
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
inline int row_identity(const Token& token, int last, bool sys_row) {
  return row_identity(token.whole, last, sys_row);
}

}  // namespace interp
