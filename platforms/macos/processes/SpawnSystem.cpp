#include "platforms/posix/SpawnSystem.h"

#include <cerrno>

#include <crt_externs.h>
#include <fcntl.h>
#include <unistd.h>

namespace kelvora::platform {

int openPipe(std::array<int, 2>& ends) {
  if (pipe(ends.data()) != 0) {
    return errno;
  }
  for (const int end : ends) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  return 0;
}

int keepOnlyStandardDescriptors(posix_spawn_file_actions_t& actions,
                                posix_spawnattr_t& attributes) {
  short flags = 0;
  posix_spawnattr_getflags(&attributes, &flags);
  int error = posix_spawnattr_setflags(&attributes,
                                       static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT));
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO && error == 0; ++descriptor) {
    // One that is closed cannot be inherited; one that an action opens is kept anyway.
    if (fcntl(descriptor, F_GETFD) >= 0) {
      error = posix_spawn_file_actions_addinherit_np(&actions, descriptor);
    }
  }
  return error;
}

char** environmentOfProcess() { return *_NSGetEnviron(); }

}  // namespace kelvora::platform
