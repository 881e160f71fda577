#pragma once

#include <array>

#include <spawn.h>

namespace kelvora::platform {

// Where systems differ in starting a child; each has a source of its own. An error is an error
// number, 0 is success.

/// Opens a pipe, reading end first, that no child inherits.
int openPipe(std::array<int, 2>& ends);

/// Makes a child keep no descriptor of this process but the standard ones. Called after all other
/// actions were added; the flags of `attributes` may grow.
int keepOnlyStandardDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

/// The environment of this process, for a child.
char** environmentOfProcess();

}  // namespace kelvora::platform
