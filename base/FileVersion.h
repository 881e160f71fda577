#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kelvora {

/// What distinguishes one content of a file from a later one: another file in its place, another
/// size, or another time of its change, which no program can set back.
struct FileVersion {
  struct Time {
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    friend bool operator==(const Time&, const Time&) = default;
  };

  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t bytes = 0;
  Time modified;
  Time changed;

  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

/// The version of the file at a path, which may be a link; none when there is no file. Opens
/// nothing. Any thread.
std::optional<FileVersion> fileVersion(const std::string& path);

}  // namespace kelvora
