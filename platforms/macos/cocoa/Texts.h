#pragma once

#include <string>
#include <string_view>

#include <Foundation/Foundation.h>

// Only for Objective-C++.
namespace kelvora::platform::cocoa {

/// The UTF-8 of a text; empty for nil.
inline std::string plainText(NSString* text) {
  const char* bytes = text.UTF8String;
  return bytes == nullptr ? "" : bytes;
}

/// A text of UTF-8; nil if it is not valid.
inline NSString* foundationText(std::string_view text) {
  return [[NSString alloc] initWithBytes:text.data()
                                  length:text.size()
                                encoding:NSUTF8StringEncoding];
}

}  // namespace kelvora::platform::cocoa
