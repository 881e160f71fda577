// DiskArbitration and CoreGraphics over the host's volumes and displays.
#include <CoreGraphics/CoreGraphics.h>
#include <DiskArbitration/DiskArbitration.h>

#include "tests/macos/frameworks/Host.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

namespace {

class Session : public Object {
 public:
  Session() : Object("DASession") {}
};

class Disk : public Object {
 public:
  explicit Disk(platform::DiskDescription described)
      : Object("DADisk"), description(std::move(described)) {}

  const platform::DiskDescription description;
};

bool isKnown(const platform::DiskDescription& description) {
  return description.mediaName || description.deviceModel || description.mediaSizeBytes ||
         description.mediaRemovable;
}

std::string textOfKey(CFStringRef key) {
  return Objects::shared().get<String>("a key of a description", key)->utf8();
}

PropertyListValue::Dictionary dictionaryOf(const platform::DiskDescription& description) {
  PropertyListValue::Dictionary values = {
      {textOfKey(kDADiskDescriptionMediaRemovableKey), description.mediaRemovable},
      {"DAVolumeName", "Macintosh HD"}};
  if (description.mediaName) {
    values.emplace(textOfKey(kDADiskDescriptionMediaNameKey), *description.mediaName);
  }
  if (description.deviceModel) {
    values.emplace(textOfKey(kDADiskDescriptionDeviceModelKey), *description.deviceModel);
  }
  if (description.mediaSizeBytes) {
    values.emplace(textOfKey(kDADiskDescriptionMediaSizeKey), *description.mediaSizeBytes);
  }
  return values;
}

const platform::Display& displayOf(const std::string& function, CGDirectDisplayID identifier) {
  static const platform::Display none;
  const auto& displays = Host::shared().machine().displays;
  if (identifier == 0 || identifier > displays.size()) {
    Ledger::misuse(function, "there is no such display");
    return none;
  }
  return displays[identifier - 1];
}

}  // namespace

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT: the functions of the system are global

const CFStringRef kDADiskDescriptionMediaNameKey = __CFStringMakeConstantString("DAMediaName");
const CFStringRef kDADiskDescriptionDeviceModelKey = __CFStringMakeConstantString("DADeviceModel");
const CFStringRef kDADiskDescriptionMediaSizeKey = __CFStringMakeConstantString("DAMediaSize");
const CFStringRef kDADiskDescriptionMediaRemovableKey =
    __CFStringMakeConstantString("DAMediaRemovable");

DASessionRef DASessionCreate(CFAllocatorRef) {
  if (Ledger::shared().called("DASessionCreate")) {
    return nullptr;
  }
  return referenceTo<DASessionRef>(Objects::shared().create<Session>());
}

DADiskRef DADiskCreateFromVolumePath(CFAllocatorRef, DASessionRef session, CFURLRef path) {
  const bool fails = Ledger::shared().called("DADiskCreateFromVolumePath", described(path));
  const auto* url = Objects::shared().get<URL>("DADiskCreateFromVolumePath", path);
  if (Objects::shared().get<Session>("DADiskCreateFromVolumePath", session) == nullptr || fails ||
      url == nullptr) {
    return nullptr;
  }
  for (const auto& volume : Host::shared().machine().volumes) {
    if (volume.path == url->path) {
      return referenceTo<DADiskRef>(Objects::shared().create<Disk>(volume.description));
    }
  }
  return nullptr;
}

CFDictionaryRef DADiskCopyDescription(DADiskRef disk) {
  const bool fails = Ledger::shared().called("DADiskCopyDescription");
  const auto* found = Objects::shared().get<Disk>("DADiskCopyDescription", disk);
  if (found == nullptr || fails || !isKnown(found->description)) {
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(newObject(dictionaryOf(found->description)));
}

CGError CGGetActiveDisplayList(uint32_t most, CGDirectDisplayID* displays, uint32_t* count) {
  constexpr auto kFailure = static_cast<CGError>(1000);
  if (Ledger::shared().called("CGGetActiveDisplayList", most)) {
    return kFailure;
  }
  *count = 0;
  while (*count < most && *count < Host::shared().machine().displays.size()) {
    displays[*count] = *count + 1;
    ++*count;
  }
  return kCGErrorSuccess;
}

boolean_t CGDisplayIsBuiltin(CGDirectDisplayID display) {
  return displayOf("CGDisplayIsBuiltin", display).builtIn ? 1 : 0;
}

CGRect CGDisplayBounds(CGDirectDisplayID display) {
  const auto& found = displayOf("CGDisplayBounds", display);
  return {{0, 0}, {found.width, found.height}};
}
