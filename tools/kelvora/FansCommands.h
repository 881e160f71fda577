#pragma once

#include <vector>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/FanControl.h"
#include "tools/kelvora/FansReport.h"

namespace kelvora::tool {

// The commands 'kelvora fans …' that write, one source each.
int runFansHold(const Options& options, StandardOutput& output);
int runFansSet(const Options& options, StandardOutput& output);
int runFansApply(const Options& options, StandardOutput& output);
int runFansAuto(const Options& options, StandardOutput& output);

/// Writes what a holder in the background has written, with the fans as they are read now. Throws
/// CommandError that says so when it cannot: the fans stay held.
void writeHeld(const Options& options, StandardOutput& output, FanControl& control,
               const std::vector<KVFanSpeed>& speeds);
/// What a take has written, with the fans as they are read now.
std::vector<FanChange> changesTo(FanControl& control, const std::vector<KVFanSpeed>& speeds);

}  // namespace kelvora::tool
