#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/SystemFacts.h"

namespace kelvora::platform {

// Volumes and disks by /proc/mounts and /sys/class/block. `root` is put before every path.

/// Mount points of block devices, "/" always and first.
std::vector<std::string> mountedVolumes(const std::string& root);

/// The block device that holds the volume at `path`; none if it is on none.
std::optional<DiskDescription> describedDisk(const std::string& root, std::string_view path);

/// Connected displays by /sys/class/drm, the built-in ones first; sizes are those of the preferred
/// mode.
std::vector<Display> connectedDisplays(const std::string& root);

}  // namespace kelvora::platform
