#pragma once

#include <cstdint>
#include <string>
#include <system_error>

namespace kelvora::platform {

/// Who may use a new file.
enum class NewFileAccess : std::uint8_t {
  kOwnerOnly,  ///< mode 0600 from the first moment
  kUsual,      ///< what the process's file mode mask leaves, as for any program's files
};

/// Creates an empty file where nothing exists. What root creates belongs to the account that owns
/// the folder it is in, so that the user whose home it is can use it. Where a symbolic link leads
/// to nothing, the file is created there. std::errc::file_exists when something exists already: it
/// is not opened. On failure there is no new file. Any thread.
std::error_code createNewFile(const std::string& path, NewFileAccess access);

/// Creates a folder and its missing parents, each owned as above, with the usual permissions. No
/// error also when the folder exists. Any thread.
std::error_code createNewFolders(const std::string& folder);

}  // namespace kelvora::platform
