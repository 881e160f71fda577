#include "platforms/linux/system/TextFile.h"

#include <algorithm>
#include <array>

#include "base/InputFile.h"

namespace kelvora::platform {

std::optional<std::string> readFile(const std::string& path) {
  int error = 0;
  return readFile(path, error);
}

std::optional<std::string> readFile(const std::string& path, int& error) {
  InputFile file(path);
  std::string content;
  std::array<char, 4096> block;
  while (const std::size_t count = file.read(block)) {
    content.append(block.data(), count);
  }
  error = file.error();
  return error == 0 ? std::optional(std::move(content)) : std::nullopt;
}

std::optional<std::string> readLine(const std::string& path) {
  auto content = readFile(path);
  if (content) {
    content->resize(std::min(content->find('\n'), content->size()));
  }
  return content;
}

}  // namespace kelvora::platform
