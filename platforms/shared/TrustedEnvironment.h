#pragma once

#include <optional>
#include <string>

namespace kelvora::platform {

/// An environment variable; none when it is unset, and in a program with raised rights
/// (set-user-id, say), whose environment comes from someone with lower rights. Any thread.
std::optional<std::string> trustedEnvironmentText(const char* name);

}  // namespace kelvora::platform
