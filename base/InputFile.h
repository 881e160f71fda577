#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace kelvora {

/// A file that is read from its beginning. Opening a named pipe without a writer does not block;
/// reading it gives the end of the file. One thread at a time.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// Reads up to `buffer.size()` bytes. Returns how many; 0 at the end of the file and after an
  /// error.
  std::size_t read(std::span<char> buffer);
  /// Reads the rest of the file, but stops as soon as there is more than `mostBytes`. After an
  /// error it is what came before.
  std::string readAll(std::size_t mostBytes = std::string::npos - 1);
  /// The system's error number of opening the file or of the last read; 0 for none.
  int error() const { return error_; }

 private:
  int descriptor_;
  int error_;
};

}  // namespace kelvora
