#pragma once

#include <string>
#include <vector>

namespace kelvora::platform {

/// Folders for the resources of an executable, the first one first; they need not exist:
/// "Resources" beside it, "../share/<its name>", "../share/KelvoraCore".
std::vector<std::string> resourceFoldersOf(const std::string& executable);

/// Codes of the localisations in folders, e.g. "de" for a folder "de.lproj" in one of them. Sorted
/// within each folder; a code may come more than once.
std::vector<std::string> localizationsIn(const std::vector<std::string>& folders);

}  // namespace kelvora::platform
