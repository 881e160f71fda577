#pragma once

#include <optional>
#include <string>

namespace kelvora::platform {

/// An environment variable; none when it is unset, and in a program with raised rights (e.g.
/// set-user-id), whose environment comes from someone with lower rights. Any thread.
std::optional<std::string> trustedEnvironmentText(const char* name);

/// Whether this program has rights that the user who started it does not have (e.g. set-user-id),
/// also after it has dropped them. Any thread.
bool hasRaisedRights();

}  // namespace kelvora::platform
