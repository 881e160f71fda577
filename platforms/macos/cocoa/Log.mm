#include "base/Log.h"

#include <algorithm>
#include <string>

#include <Foundation/Foundation.h>

#include "platforms/macos/CFValues.h"

namespace kelvora {

// Also to standard error where a program was started in a terminal.
void log(std::string_view line) {
  @autoreleasepool {
    std::string text(line);
    std::replace(text.begin(), text.end(), '\n', ' ');
    const auto object = platform::makeText(text);
    NSLog(@"%@", (__bridge NSString*)object.get());
  }
}

}  // namespace kelvora
