#include "platforms/posix/OwnSession.h"

#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace kelvora::platform {

void leaveSession() {
  setsid();
  const int nothing = ::open("/dev/null", O_RDWR);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    dup2(nothing, standard);
  }
  if (nothing > STDERR_FILENO) {
    ::close(nothing);
  }
  const int ignored = chdir("/");
  static_cast<void>(ignored);
}

}  // namespace kelvora::platform
