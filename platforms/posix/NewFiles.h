#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace kelvora::platform {

/// What the name of a file that is written to replace another adds to that one's.
inline constexpr const char* kNewFileEnding = ".new";

/// Makes root give a new file or folder to the account that owns the folder it is in, so that a
/// program started with raised rights leaves nothing in a user's home that the user cannot change.
/// `descriptor` is open on the new file, `path` is its path. Does nothing in a process that is not
/// root. False when the owner cannot be changed, with the reason in errno.
bool giveToOwnerOfFolder(int descriptor, const std::string& path);

/// Where the links end that a path leads through, even if nothing exists there.
std::string endOfLinks(const std::string& path);

/// Creates a folder and its missing parents, mode 0700, owned as above; true also when the folder
/// exists. False with the reason in errno.
bool createOwnedFolders(const std::string& folder);

/// Creates a file with these bytes, mode 0600, owned as above, and waits until they are on the
/// disk. Removes a file of that name first: one that a killed writer left. False with the reason in
/// errno.
bool writeNewFile(const std::string& path, std::span<const std::byte> bytes);

/// Puts a file with these bytes in the place of another, or of none, so that every reader, and a
/// computer that loses its power, has the old bytes or the new ones. Uses `path` + kNewFileEnding
/// meanwhile: one writer at a time. False with the reason in errno; the file is then as it was.
bool replaceFile(const std::string& path, std::span<const std::byte> bytes);

}  // namespace kelvora::platform
