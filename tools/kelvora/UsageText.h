#pragma once

#include <string>
#include <vector>

#include "KelvoraCore/KVLocalized.h"

#include "tools/kelvora/LineGroup.h"
#include "tools/kelvora/Screen.h"
#include "tools/kelvora/UsageSample.h"

namespace kelvora::tool {

/// How full something is, as a bar of `columns` characters: 0.5 gives "█████░░░░░" in ten. Below 0
/// and not-a-number are empty, above 1 is full.
std::string barText(double fraction, std::size_t columns);

/// How much attention something needs that is so full: good below 0.6, hot from 0.85 on.
Tone toneOf(double fraction);

/// A time in days, hours and minutes: "1d 2h 3m", "0h 59m".
std::string durationText(double seconds);

/// A sample for a person, in the user's language: processor, memory, disk, network, battery and
/// uptime. `barColumns` is the width of the bars before percentages; 0 hides them. What is not
/// known is "–", and a machine without a battery has no lines of one.
std::vector<LineGroup> usageText(const UsageSample& sample, const KVLocalized::Texts& texts,
                                 std::size_t barColumns);

}  // namespace kelvora::tool
