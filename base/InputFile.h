#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace kelvora {

/// A file that is read from its beginning. A named pipe that nobody writes to is opened at once and
/// ends at once. Errors are the system's (errno), 0 for none.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// Reads up to `buffer.size()` bytes: how many, 0 at the end and when `error` tells of one.
  std::size_t read(std::span<char> buffer);
  /// What went wrong when the file was opened or last read.
  int error() const { return error_; }

 private:
  int descriptor_;
  int error_;
};

}  // namespace kelvora
