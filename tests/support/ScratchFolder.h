#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include <stdlib.h>

namespace kelvora::testing {

/// A folder of the test's own, removed with everything in it at the end.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kelvora-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no scratch folder");
    }
    folder_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  /// Path of an entry, which need not exist.
  std::string path(std::string_view entry) const { return (folder_ / entry).string(); }

  /// Writes an entry, creating the folders above it.
  void write(std::string_view entry, std::string_view content) const {
    const std::filesystem::path target = folder_ / entry;
    std::filesystem::create_directories(target.parent_path());
    std::ofstream(target, std::ios::binary) << content;
  }

  std::string read(std::string_view entry) const {
    std::ifstream file(folder_ / entry, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path folder_;
};

}  // namespace kelvora::testing
