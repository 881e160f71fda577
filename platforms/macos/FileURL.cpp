#include "platforms/macos/FileURL.h"

#include <array>

#include <sys/param.h>

namespace kelvora::platform {

CFOwned<CFURLRef> makeFolderURL(std::string_view path) {
  return CFOwned<CFURLRef>(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
      static_cast<CFIndex>(path.size()), true));
}

std::string pathOf(CFURLRef url) {
  std::array<UInt8, MAXPATHLEN> path = {};
  if (url == nullptr || CFURLGetFileSystemRepresentation(url, true, path.data(),
                                                         static_cast<CFIndex>(path.size())) == 0) {
    return "";
  }
  return reinterpret_cast<const char*>(path.data());
}

}  // namespace kelvora::platform
