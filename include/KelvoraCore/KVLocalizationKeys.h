#pragma once

#include <span>
#include <string_view>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// Every key of the tables: what each "Localizable.strings" of a host holds. The library looks up
/// statuses, categories, the overview and errors itself; programs look up groups
/// ("group-cpu-name"), remarks and names of fans ("Fan 1") to show a reading, the words of a plot
/// ("history-minimum") and those of a machine's usage ("usage-free"). Keys that end in "-%@" are
/// formats with one text, e.g. the sensor's name, those that end in "-value" with one whole number,
/// "%d", and those that end in "-range" with two texts, "%@". Valid for the process's life. Any
/// thread.
KELVORA_EXPORT std::span<const std::string_view> localizationKeys();

}  // namespace kelvora
