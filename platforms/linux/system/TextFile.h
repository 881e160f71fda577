#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace kelvora::platform {

/// The content of a file, also of a kernel file that reports no size; none if it cannot be read.
std::optional<std::string> readFile(const std::string& path);
/// Likewise; `error` is then the system's error number, e.g. ENOENT for a file that does not exist.
std::optional<std::string> readFile(const std::string& path, int& error);
/// The content of a file of at most so many bytes; none also if it is larger.
std::optional<std::string> readSmallFile(const std::string& path, std::size_t mostBytes);
/// The first line of a file, without its end; none if it cannot be read.
std::optional<std::string> readLine(const std::string& path);

}  // namespace kelvora::platform
