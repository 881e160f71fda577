#pragma once

#include <string>

#include "KelvoraCore/ZDSystemDevice.h"

#include "tools/kelvora/Report.h"

namespace kelvora::tool {

/// An inventory for a person: groups of lines such as "Level 2 cache     256 KB", each group after
/// an empty line. What the machine does not report has no line, and a group without lines no
/// heading.
std::string inventoryText(const ZDSystemDevice& device, const Style& style);

/// Throws CommandError (nothing read) for an inventory that has nothing of `platform`, its machine.
void requireInventory(const ZDSystemDevice& device, const Platform& platform);

}  // namespace kelvora::tool
