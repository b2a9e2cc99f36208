#pragma once
// The event logs: the system log "/user/ZLT.log" and one log per outlet,
// "/user/Outlet1.log" to "/user/Outlet8.log". One event per line: the event
// text, a full stop, a newline.
#include <string_view>

#include "board/board.h"

namespace records {

inline constexpr const char* kSystemLogPath = "/user/ZLT.log";

// Kind 0: the system log (with traps for critical events and warnings);
// 1..8: the log of that outlet; any other kind writes nothing.
void systemlog(board::Board& b, int kind, const char* text);

// True while `logfilesize` says the system log is at its size limit.
bool system_log_full(board::Nvram& nvram);
// Drops the oldest line of a log (the file is replaced whole).
void drop_oldest_line(const board::Files& files, std::string_view unit_path);
// Appends one event line to a log in a single write.
void append_event_line(const board::Files& files, std::string_view unit_path,
                       std::string_view text);

}  // namespace records
