#pragma once
// Interpreter cases kept as text: one case a line, its fields separated by
// " | ", each field "key: value". A line that starts with blanks and "| "
// continues the case above it. '#' starts a comment line. Values take C
// escapes (\r \n \t \\) and \s for a blank that must not be lost at the end.
//
//   case: the device name goes to both stores   optional: what the case shows, named on failure
//   model: ZLT8AC                  the model code (nvram ZLTMerge)
//   nvram: firstlogin=0            nvram before the messages
//   file: TitleLabel=Old           a settings-file line before the messages
//   put: /user/intervalenergy: 1 0.5\n   a file under the root before
//   mode: 4                        CheckStatusMode before
//   query: 5 6 7                   _readGetCommand, ...FirstNumber, ...FirstOrSecond before
//   send: [SUCCESS]Set Device Name To Lab   a message (several: in order)
//   =file: TitleLabel=Lab          the settings file after, whole, in order
//   =nvram: TitleLabel=Lab         every nvram key that changed, with its value
//   =both: TitleLabel=Lab          =file: and =nvram: of the same line
//   =run: /sbin/wan.sh &           every command run, in order
//   =run: <network restart>        the eight commands of the network restart
//   =mcu: GUISTATUS\r\n            the bytes written to the MCU
//   =sleep: 1000 2000              the sleeps requested, in order
//   =print: text                   printed output contains text
//   =lines: /user/ZLT.log: a line  that file's lines after, whole, in order
//   =lines: /user/ZLT.log: (none)  that file is empty or absent
//   =mode: 0                       CheckStatusMode after
//   =query: 0 0 0                  the three query-state values after
//   =commits: 1                    nvram commits
//
// A line "every | field | ..." gives fields put before those of every later
// case of the file.
//
// What a case does not list must not happen: no settings-file change, no
// nvram change, no command, no MCU byte, no sleep, no commit.
//
// A file may be stricter still, with the line "strict: sets print":
//   sets    =nvram lists every nvram set, in order, each with the key's final
//           value, a set that keeps the value included; no =nvram: no set
//   print   =print lists everything printed besides the input lines, whole
//           lines in order; no =print: nothing else is printed
#include <string>

namespace testing_support {

// Runs every case of the file (a path under the tests directory); each
// failure names the file, the line and the case.
void run_case_file(const std::string& relative_path);

}  // namespace testing_support
