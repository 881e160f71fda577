#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include <stdlib.h>

namespace kelvora::testing {

/// A folder of a test's own, removed with what it holds at the end.
class TemporaryFolder {
 public:
  TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}
  explicit TemporaryFolder(const std::filesystem::path& parent)
      : path_((parent / "kelvoraXXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

  /// Path of an entry, which need not exist.
  std::string path(std::string_view entry) const {
    return (std::filesystem::path(path_) / entry).string();
  }

  /// Writes a file, with the folders above it, and returns its path.
  std::string write(std::string_view name, std::string_view content) const {
    const std::filesystem::path file = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
  }

  /// A file's content; empty where there is none.
  std::string read(std::string_view name) const {
    std::ifstream file(std::filesystem::path(path_) / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  /// Every entry below the folder with its content; empty for what is not a file.
  std::map<std::string, std::string> entries() const {
    std::map<std::string, std::string> entries;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
      const std::string name = std::filesystem::relative(entry.path(), path_).string();
      entries[name] = entry.is_regular_file() ? read(name) : "";
    }
    return entries;
  }

 private:
  std::string path_;
};

}  // namespace kelvora::testing
