#pragma once

#include <string>
#include <string_view>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettings.h"

#include "tools/kelvora/Plot.h"
#include "tools/kelvora/SensorHistory.h"

namespace kelvora::tool {

/// A history as a plot in the user's units and language. The value axis shows the sensor's range,
/// and more where a reading is outside it, in at most `mostSteps` steps.
Plot plotOfHistory(const SensorHistory& history, int mostSteps, KVSettings& settings,
                   const KVLocalized::Texts& texts);

}  // namespace kelvora::tool
