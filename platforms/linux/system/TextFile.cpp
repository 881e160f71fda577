#include "platforms/linux/system/TextFile.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

std::optional<std::string> readFile(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) {
    return std::nullopt;
  }
  std::string content;
  std::array<char, 4096> block;
  while (true) {
    const ssize_t count = read(file.get(), block.data(), block.size());
    if (count == 0) {
      return content;
    }
    if (count > 0) {
      content.append(block.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

std::optional<std::string> readLine(const std::string& path) {
  auto content = readFile(path);
  if (content) {
    content->resize(std::min(content->find('\n'), content->size()));
  }
  return content;
}

}  // namespace kelvora::platform
