#include "platforms/macos/system/MacSystemFacts.h"

#include <array>
#include <cstddef>

#include <CoreGraphics/CoreGraphics.h>
#include <DiskArbitration/DiskArbitration.h>

#include "platforms/macos/CFValues.h"
#include "platforms/macos/FileURL.h"
#include "platforms/macos/cocoa/HostFacts.h"

namespace kelvora::platform {

namespace {

CFOwned<CFDictionaryRef> copyDescription(std::string_view path) {
  const CFOwned<DASessionRef> session(DASessionCreate(kCFAllocatorDefault));
  const CFOwned<CFURLRef> url = makeFolderURL(path);
  if (!session || !url) {
    return {};
  }
  const CFOwned<DADiskRef> disk(
      DADiskCreateFromVolumePath(kCFAllocatorDefault, session.get(), url.get()));
  return disk ? CFOwned<CFDictionaryRef>(DADiskCopyDescription(disk.get()))
              : CFOwned<CFDictionaryRef>();
}

// The value of a key as a T; none if the description lacks it or has another kind.
template <typename T>
std::optional<T> described(CFDictionaryRef description, CFStringRef key) {
  const auto value = valueOf(CFDictionaryGetValue(description, key));
  const T* found = value ? value->as<T>() : nullptr;
  return found == nullptr ? std::nullopt : std::optional<T>(*found);
}

}  // namespace

std::optional<OSVersion> MacSystemFacts::osVersion() { return cocoa::osVersion(); }

std::string MacSystemFacts::osVersionText() { return cocoa::osVersionText(); }

std::string MacSystemFacts::localizedHostName() { return cocoa::localizedHostName(); }

std::string MacSystemFacts::hostName() { return cocoa::hostName(); }

std::vector<std::string> MacSystemFacts::hostAddresses() { return cocoa::hostAddresses(); }

std::string MacSystemFacts::primaryHostAddress() { return cocoa::primaryHostAddress(); }

std::vector<std::string> MacSystemFacts::mountedVolumePaths() {
  return cocoa::mountedVolumePaths();
}

std::optional<DiskDescription> MacSystemFacts::diskDescription(std::string_view path) {
  const auto copied = copyDescription(path);
  if (!copied) {
    return std::nullopt;
  }
  const CFDictionaryRef description = copied.get();
  return DiskDescription{
      described<std::string>(description, kDADiskDescriptionMediaNameKey),
      described<std::string>(description, kDADiskDescriptionDeviceModelKey),
      described<std::int64_t>(description, kDADiskDescriptionMediaSizeKey),
      described<bool>(description, kDADiskDescriptionMediaRemovableKey).value_or(false)};
}

std::vector<Display> MacSystemFacts::activeDisplays() {
  std::array<CGDirectDisplayID, kMostDisplays> identifiers = {};
  std::uint32_t count = 0;
  if (CGGetActiveDisplayList(kMostDisplays, identifiers.data(), &count) != kCGErrorSuccess) {
    return {};
  }
  std::vector<Display> displays;
  for (std::uint32_t i = 0; i < count && i < kMostDisplays; ++i) {
    const CGSize size = CGDisplayBounds(identifiers.at(i)).size;
    displays.push_back({CGDisplayIsBuiltin(identifiers.at(i)) != 0, size.width, size.height});
  }
  return displays;
}

}  // namespace kelvora::platform
