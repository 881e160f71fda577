#pragma once

namespace kelvora::tool {

/// Gives up, for good, all rights that whoever started the process does not have: effective and
/// saved user and group, other groups. False if some are kept or can be taken back. Root that
/// started the process itself has nothing to give up.
bool dropRights();

}  // namespace kelvora::tool
