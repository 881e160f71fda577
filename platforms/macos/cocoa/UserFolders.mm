#include "platforms/macos/cocoa/UserFolders.h"

#include <Foundation/Foundation.h>

#include "platforms/macos/cocoa/Texts.h"

namespace kelvora::platform::cocoa {

namespace {

std::string userFolder(NSSearchPathDirectory kind) {
  @autoreleasepool {
    return plainText(NSSearchPathForDirectoriesInDomains(kind, NSUserDomainMask, YES).firstObject);
  }
}

}  // namespace

std::string documentsFolder() { return userFolder(NSDocumentDirectory); }

std::string applicationSupportFolder() { return userFolder(NSApplicationSupportDirectory); }

std::string groupContainer(const std::string& groupIdentifier) {
  @autoreleasepool {
    NSString* identifier = foundationText(groupIdentifier);
    if (identifier == nil) {
      return "";
    }
    NSURL* container =
        [NSFileManager.defaultManager containerURLForSecurityApplicationGroupIdentifier:identifier];
    return plainText(container.path);
  }
}

}  // namespace kelvora::platform::cocoa
