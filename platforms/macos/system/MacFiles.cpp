#include "platforms/macos/system/MacFiles.h"

#include <copyfile.h>
#include <sys/stdio.h>
#include <unistd.h>

#include "base/NoneIfEmpty.h"
#include "platforms/macos/cocoa/UserFolders.h"

namespace kelvora::platform {

// Under a name of this process's own until it is whole.
bool MacFiles::copy(const std::string& from, const std::string& to) {
  const std::string unfinished = to + "." + std::to_string(getpid());
  const bool isCopied =
      copyfile(from.c_str(), unfinished.c_str(), nullptr, COPYFILE_ALL | COPYFILE_UNLINK) == 0 &&
      renamex_np(unfinished.c_str(), to.c_str(), RENAME_EXCL) == 0;
  if (!isCopied) {
    unlink(unfinished.c_str());
  }
  return isCopied;
}

std::optional<std::string> MacFiles::documentsFolder() {
  return noneIfEmpty(cocoa::documentsFolder());
}

std::optional<std::string> MacFiles::applicationSupportFolder() {
  return noneIfEmpty(cocoa::applicationSupportFolder());
}

std::optional<std::string> MacFiles::groupContainer(const std::string& groupIdentifier) {
  return groupIdentifier.empty() ? std::nullopt
                                 : noneIfEmpty(cocoa::groupContainer(groupIdentifier));
}

}  // namespace kelvora::platform
