#include "tools/kelvora/CSVFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "KelvoraCore/KVUtils.h"

namespace kelvora::tool {

namespace {

namespace fs = std::filesystem;

// More than the longest line.
constexpr std::uintmax_t kTailBytes = 65536;

// 0 also when there is no file.
std::uintmax_t sizeOf(const std::string& path) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  return error ? 0 : size;
}

// Empty for what is no file: opening e.g. a pipe would wait for its other end.
std::string bytesOf(const std::string& path, std::uintmax_t from, std::size_t most) {
  if (std::error_code error; !fs::is_regular_file(path, error)) {
    return "";
  }
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(from));
  std::string bytes(most, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(most));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

std::string faultOf(const std::string& path, int error) {
  return path + ": " +
         (error == 0 ? "could not be written" : std::generic_category().message(error));
}

void shorten(const std::string& path, std::uintmax_t size) {
  std::error_code error;
  if (sizeOf(path) > size) {
    fs::resize_file(path, size, error);
  }
}

}  // namespace

std::string CSVFile::tail() const {
  const std::uintmax_t size = sizeOf(path_);
  return bytesOf(path_, size - std::min(size, kTailBytes), kTailBytes);
}

std::string CSVFile::header() const {
  const std::string text = bytesOf(path_, 0, kTailBytes);
  return text.substr(0, text.find('\n') + 1);
}

std::string CSVFile::beginOfLastLine(std::size_t length) const {
  std::string text = tail();
  if (text.ends_with('\n')) {
    text.pop_back();
  }
  const std::size_t before = text.rfind('\n');
  return text.substr(before == std::string::npos ? 0 : before + 1, length);
}

void CSVFile::clear(const std::string& header) const {
  if (bytesOf(path_, 0, header.size()) == header) {
    shorten(path_, 0);
  }
}

void CSVFile::cutUnfinishedLine() const {
  const std::string text = tail();
  const std::size_t end = text.rfind('\n');
  if (end != std::string::npos) {
    shorten(path_, sizeOf(path_) - (text.size() - end - 1));
  }
}

void CSVFile::keepUnderAnotherName() const {
  const fs::path path(path_);
  const std::string stem = (path.parent_path() / path.stem()).string();
  std::error_code error;
  for (int number = 2; !error; ++number) {
    const std::string other = stem + " " + std::to_string(number) + path.extension().string();
    if (!fs::exists(other, error)) {
      fs::rename(path, other, error);
      return;
    }
  }
}

std::optional<std::string> CSVFile::append(const std::string& header,
                                           const std::string& line) const {
  std::error_code error;
  if (fs::exists(path_, error) && !fs::is_regular_file(path_, error)) {
    return path_ + ": not a file";
  }
  const std::string first = bytesOf(path_, 0, header.size());
  if (header != first && header.starts_with(first)) {
    shorten(path_, 0);  // it holds a part of the header at most
  } else if (header != first) {
    keepUnderAnotherName();
  } else {
    cutUnfinishedLine();
  }
  return write(sizeOf(path_) == 0 ? header + line : line);
}

std::optional<std::string> CSVFile::write(const std::string& text) const {
  const std::uintmax_t before = sizeOf(path_);
  if (const std::error_code error = KVUtils::createFile(path_)) {
    return faultOf(path_, error.value());
  }
  errno = 0;
  std::ofstream file(path_, std::ios::binary | std::ios::app);
  if (file << text && file.flush()) {
    return std::nullopt;
  }
  std::string fault = faultOf(path_, errno);
  file.close();
  shorten(path_, before);
  return fault;
}

}  // namespace kelvora::tool
