#pragma once

#include <string>
#include <vector>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorHistory.h"

namespace kelvora::tool {

/// What --range takes, by number of the series: "hour", "day", "week".
const std::vector<std::string>& timeRangeNames();

/// The plot with title and summary, as wide as the terminal; 80 columns elsewhere.
void writeHistoryText(StandardOutput& output, const SensorHistory& history, KVSettings& settings,
                      const KVLocalized::Texts& texts);

/// The points in raw values, with the unit, as docs/schema/history.json describes it.
Json jsonHistory(const SensorHistory& history);

/// A line "time,value (°C)", and one for each point: "2024-03-07T14:05:09+01:00,45.5", in raw
/// values. Empty for a value that is not finite.
std::string csvHistory(const SensorHistory& history);

}  // namespace kelvora::tool
