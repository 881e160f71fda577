#pragma once

#include <string>
#include <string_view>

namespace kelvora::tool {

/// Writes a file whole or not at all: a reader sees the old content or the new one. A new file gets
/// the permissions that the user's programs give, an old one keeps its own. A symbolic link keeps
/// leading to its file. What is no regular file, e.g. /dev/stdout, is written as it is. Throws
/// CommandError with the path and the system's reason.
void writeFile(const std::string& path, std::string_view content);

}  // namespace kelvora::tool
