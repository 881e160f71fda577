#include "platforms/linux/system/TextFile.h"

#include <algorithm>
#include <array>

#include "base/InputFile.h"

namespace kelvora::platform {

namespace {

// Stops as soon as there is more than `mostBytes`.
std::string readUpTo(InputFile& file, std::size_t mostBytes) {
  std::string content;
  std::array<char, 4096> block;
  while (content.size() <= mostBytes) {
    const std::size_t count = file.read(block);
    if (count == 0) {
      break;
    }
    content.append(block.data(), count);
  }
  return content;
}

}  // namespace

std::optional<std::string> readFile(const std::string& path) {
  int error = 0;
  return readFile(path, error);
}

std::optional<std::string> readFile(const std::string& path, int& error) {
  InputFile file(path);
  std::string content = readUpTo(file, std::string::npos - 1);
  error = file.error();
  return error == 0 ? std::optional(std::move(content)) : std::nullopt;
}

std::optional<std::string> readSmallFile(const std::string& path, std::size_t mostBytes) {
  InputFile file(path);
  std::string content = readUpTo(file, mostBytes);
  const bool isWhole = file.error() == 0 && content.size() <= mostBytes;
  return isWhole ? std::optional(std::move(content)) : std::nullopt;
}

std::optional<std::string> readLine(const std::string& path) {
  auto content = readFile(path);
  if (content) {
    content->resize(std::min(content->find('\n'), content->size()));
  }
  return content;
}

}  // namespace kelvora::platform
