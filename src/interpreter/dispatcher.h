#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "interpreter/common/context.h"
#include "interpreter/common/recogniser.h"

namespace interp {

// Interprets one MCU message (modifiable, NUL-terminated). Run by the worker.
int MachineCommunication_RV470(Context& ctx, char* message);

// The row that takes ctx.message, with in *rest the text after its prefix;
// null when none does (a status-dump row). A two-stage row that takes it has
// already done its work. The index finds it with one scan of the message; the
// linear walk tries every row in turn (the reference the index must match).
const Recogniser* taken_by_index(Context& ctx, char** rest);
const Recogniser* taken_by_linear(Context& ctx, char** rest);

// Every row of the chain in the order it is tried.
std::vector<const Recogniser*> recogniser_chain();
// What took the last message: the row's name, "status-dump row, table N",
// or "no effect" when nothing took it.
std::string taken_by(const Context& ctx);

// The position just after the first occurrence of needle in text, or null.
char* str_Endpoint(const char* text, const char* needle);
// The same, searching only the first min(strlen(text), limit) characters.
char* str_Endpoint_len(const char* text, const char* needle, size_t limit);
// One status character into destination[index mod 256]; mode 1 maps N/Y/X.
void CopyString(char source, int index, char* destination, int mode);

}  // namespace interp
