#pragma once
// The live data that the web GUI shows, pushed as one text frame per field,
// "key=value", with values read from nvram at the moment of sending.
#include <string>
#include <utility>
#include <vector>

#include "channels/channels.h"

namespace channels {

// One message to every GUI client; a client whose send fails is dropped.
void returnDataToBOA(Channels& ch, const std::string& key, const std::string& value);
// The whole report, in its order (absent keys give empty values).
std::vector<std::pair<std::string, std::string>> live_report(Channels& ch);
void StartReturnAvg(Channels& ch);

}  // namespace channels
