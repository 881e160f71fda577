#include "sysinfo/DiskQuery.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/Blanks.h"
#include "base/Log.h"
#include "ports/SystemFacts.h"

namespace kelvora {

namespace {

// The slash at the front is a path component of its own, so that only "/" has exactly one.
bool isRoot(const std::string& path) {
  return !path.empty() && path.find_first_not_of('/') == std::string::npos;
}

}  // namespace

std::optional<ZDDiskInfo> queryDisk(platform::SystemFacts& facts) {
  const std::vector<std::string> volumes = facts.mountedVolumePaths();
  if (volumes.empty()) {
    log("empty disk after fetching list");
    return std::nullopt;
  }
  const auto root = std::find_if(volumes.rbegin(), volumes.rend(), isRoot);
  if (root == volumes.rend()) {
    return std::nullopt;
  }
  const auto description = facts.diskDescription(*root);
  if (!description || description->mediaRemovable) {
    return std::nullopt;
  }
  const std::string model = description->deviceModel.value_or("");
  return ZDDiskInfo{.name = description->mediaName.value_or(""),
                    .model = std::string(trimmedOfBlanksAndLineEnds(model)),
                    .size = description->mediaSizeBytes};
}

}  // namespace kelvora
