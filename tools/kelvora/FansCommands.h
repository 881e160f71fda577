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

/// What a take has written, with the fans as they are read now.
std::vector<FanChange> changesTo(FanControl& control, const std::vector<KVFanSpeed>& speeds);

}  // namespace kelvora::tool
