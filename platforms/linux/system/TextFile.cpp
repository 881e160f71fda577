#include "platforms/linux/system/TextFile.h"

#include <algorithm>

#include "base/InputFile.h"

namespace kelvora::platform {

std::optional<std::string> readFile(const std::string& path) {
  int error = 0;
  return readFile(path, error);
}

std::optional<std::string> readFile(const std::string& path, int& error) {
  InputFile file(path);
  std::string content = file.readAll();
  error = file.error();
  return error == 0 ? std::optional(std::move(content)) : std::nullopt;
}

std::optional<std::string> readSmallFile(const std::string& path, std::size_t mostBytes) {
  InputFile file(path);
  std::string content = file.readAll(mostBytes);
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
