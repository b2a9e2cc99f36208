#pragma once
// Values of CheckStatusMode: the status-dump table whose rows come next.
#include <cstdint>

namespace interp {

constexpr uint32_t kNoTable = 0;
constexpr uint32_t kVoltageMonitorTable = 1;
constexpr uint32_t kSystemTable = 3;
constexpr uint32_t kOutletTable = 4;
constexpr uint32_t kInitialisationTable = 5;  // no header arms it
constexpr uint32_t kMeasurementTable = 6;
constexpr uint32_t kSystemModeTable = 7;
constexpr uint32_t kSensorRuleTable1 = 11;
constexpr uint32_t kSensorRuleTable2 = 12;
constexpr uint32_t kSensorRuleTable3 = 13;
constexpr uint32_t kSensorPortTable = 14;

}  // namespace interp
