#include "platforms/linux/smc/AppleSMCFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include "platforms/linux/system/TextFile.h"
#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

bool AppleSMCFiles::exist() const { return access(path("key_count").c_str(), F_OK) == 0; }

bool AppleSMCFiles::mayChooseKeys() const {
  return access(path("key_at_index").c_str(), W_OK) == 0;
}

std::optional<std::string> AppleSMCFiles::read(const std::string& name) const {
  return readFile(path(name));
}

bool AppleSMCFiles::chooseKey(unsigned index) {
  const FileDescriptor file(open(path("key_at_index").c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (!file.isOpen()) {
    return false;
  }
  const std::string text = std::to_string(index) + "\n";
  // The driver takes an index in one write.
  return ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

}  // namespace kelvora::platform
