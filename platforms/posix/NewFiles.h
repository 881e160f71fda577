#pragma once

#include <string>

namespace kelvora::platform {

/// Makes root give a new file or folder to the account that owns the folder it is in, so that a
/// program started with raised rights leaves nothing in a user's home that the user cannot change.
/// `descriptor` is open on the new file, `path` is its path. Does nothing in a process that is not
/// root. False when the owner cannot be changed, with the reason in errno.
bool giveToOwnerOfFolder(int descriptor, const std::string& path);

/// Creates a folder and its missing parents, mode 0700, owned as above; true also when the folder
/// exists. False with the reason in errno.
bool createOwnedFolders(const std::string& folder);

}  // namespace kelvora::platform
