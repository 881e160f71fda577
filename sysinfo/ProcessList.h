#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "KelvoraCore/CPUReader.h"

#include "ports/ChildProcesses.h"

namespace kelvora {

/// What prints the processes of all accounts, those that use the processor most first.
platform::ChildRequest processListRequest();

/// The first processes of a list as `ps` prints it, at most `number` or all if that is negative;
/// without names. `text` is UTF-8: a header, then one line for each process, e.g.
/// "  412  38.4 Safari". The last line may end without a line feed. A line of another form gives a
/// process too, with 0 for what it lacks.
std::vector<CPUTopProcess> parseProcessList(std::string_view text, std::int64_t number);

}  // namespace kelvora
