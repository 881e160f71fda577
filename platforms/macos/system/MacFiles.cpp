#include "platforms/macos/system/MacFiles.h"

#include <copyfile.h>

#include "platforms/macos/cocoa/UserFolders.h"

namespace kelvora::platform {

namespace {

std::optional<std::string> unlessEmpty(std::string path) {
  return path.empty() ? std::nullopt : std::optional(std::move(path));
}

}  // namespace

bool MacFiles::copy(const std::string& from, const std::string& to) {
  return copyfile(from.c_str(), to.c_str(), nullptr, COPYFILE_ALL | COPYFILE_EXCL) == 0;
}

std::optional<std::string> MacFiles::documentsFolder() {
  return unlessEmpty(cocoa::documentsFolder());
}

std::optional<std::string> MacFiles::applicationSupportFolder() {
  return unlessEmpty(cocoa::applicationSupportFolder());
}

std::optional<std::string> MacFiles::groupContainer(const std::string& groupIdentifier) {
  return groupIdentifier.empty() ? std::nullopt
                                 : unlessEmpty(cocoa::groupContainer(groupIdentifier));
}

}  // namespace kelvora::platform
