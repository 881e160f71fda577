#pragma once

#include <string>
#include <string_view>

#include "platforms/macos/CFOwned.h"

// Addresses of files as Core Foundation has them. Any thread.
namespace kelvora::platform {

/// The address of the folder at a path; null if the path is no address.
CFOwned<CFURLRef> makeFolderURL(std::string_view path);

/// The absolute path of an address; empty for null, and for what is not the address of a file.
std::string pathOf(CFURLRef url);

}  // namespace kelvora::platform
