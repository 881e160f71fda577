#include "platforms/macos/cocoa/HostFacts.h"

#include <Foundation/Foundation.h>

#include "platforms/macos/cocoa/Texts.h"

namespace kelvora::platform::cocoa {

std::optional<OSVersion> osVersion() {
  @autoreleasepool {
    NSProcessInfo* information = NSProcessInfo.processInfo;
    if (information == nil) {
      return std::nullopt;
    }
    const NSOperatingSystemVersion version = information.operatingSystemVersion;
    return OSVersion{version.majorVersion, version.minorVersion, version.patchVersion};
  }
}

std::string osVersionText() {
  @autoreleasepool {
    return plainText(NSProcessInfo.processInfo.operatingSystemVersionString);
  }
}

std::string localeIdentifier() {
  @autoreleasepool {
    return plainText(NSLocale.currentLocale.localeIdentifier);
  }
}

std::string localizedHostName() {
  @autoreleasepool {
    return plainText([NSHost currentHost].localizedName);
  }
}

std::string hostName() {
  @autoreleasepool {
    return plainText([NSHost currentHost].name);
  }
}

std::vector<std::string> hostAddresses() {
  @autoreleasepool {
    std::vector<std::string> addresses;
    for (NSString* address in [NSHost currentHost].addresses) {
      addresses.push_back(plainText(address));
    }
    return addresses;
  }
}

std::string primaryHostAddress() {
  @autoreleasepool {
    return plainText([NSHost currentHost].address);
  }
}

std::vector<std::string> mountedVolumePaths() {
  @autoreleasepool {
    NSArray<NSURL*>* volumes = [NSFileManager.defaultManager
        mountedVolumeURLsIncludingResourceValuesForKeys:@[ NSURLVolumeNameKey ]
                                                options:0];
    std::vector<std::string> paths;
    for (NSURL* volume in volumes) {
      paths.push_back(plainText(volume.path));
    }
    return paths;
  }
}

}  // namespace kelvora::platform::cocoa
