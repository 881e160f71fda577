#pragma once

#include <optional>
#include <string>

namespace kelvora::platform {

/// The home folder: HOME if it is an absolute path, else the account's; empty if it has none.
std::string homeFolder();

/// A folder that the environment variable `variable` names, else `inHome` in the home folder, e.g.
/// "/home/anna/.config" for ("XDG_CONFIG_HOME", "/.config"); none without a home folder.
std::optional<std::string> baseFolder(const char* variable, const char* inHome);

/// Where programs keep what they store for the user, e.g. "/home/anna/.local/share".
std::optional<std::string> dataFolder();

}  // namespace kelvora::platform
