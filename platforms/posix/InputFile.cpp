#include "base/InputFile.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace kelvora {

// Only the opening does not wait: bytes of a pipe that somebody writes to are waited for.
InputFile::InputFile(const std::string& path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)), error_(0) {
  if (descriptor_ < 0 || fcntl(descriptor_, F_SETFL, 0) < 0) {
    error_ = errno;
  }
}

InputFile::~InputFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

std::size_t InputFile::read(std::span<char> buffer) {
  if (error_ != 0) {
    return 0;
  }
  ssize_t count = -1;
  do {
    count = ::read(descriptor_, buffer.data(), buffer.size());
  } while (count < 0 && errno == EINTR);
  error_ = count < 0 ? errno : 0;
  return count < 0 ? 0 : static_cast<std::size_t>(count);
}

std::string InputFile::readAll(std::size_t mostBytes) {
  std::string content;
  std::array<char, 16384> block;
  while (content.size() <= mostBytes) {
    const std::size_t count = read(block);
    if (count == 0) {
      break;
    }
    content.append(block.data(), count);
  }
  return content;
}

}  // namespace kelvora
