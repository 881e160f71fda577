#include "platforms/posix/SpawnSystem.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace kelvora::platform {

int openPipe(std::array<int, 2>& ends) { return pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno; }

int keepOnlyStandardDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t&) {
  return posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

char** environmentOfProcess() { return environ; }

}  // namespace kelvora::platform
