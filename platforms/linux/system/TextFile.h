#pragma once

#include <optional>
#include <string>

namespace kelvora::platform {

/// A file's content, also of a kernel file that tells no size; none when it cannot be read.
std::optional<std::string> readFile(const std::string& path);
/// The first line of a file, without its end; none when it cannot be read.
std::optional<std::string> readLine(const std::string& path);

}  // namespace kelvora::platform
