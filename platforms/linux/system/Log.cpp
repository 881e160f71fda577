#include "base/Log.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include <unistd.h>

namespace kelvora {

void log(std::string_view line) {
  std::string text(line);
  std::replace(text.begin(), text.end(), '\n', ' ');
  text += '\n';
  // One write, so that lines of several threads do not mix.
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t count = write(STDERR_FILENO, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) {
      return;
    }
    if (count > 0) {
      rest.remove_prefix(static_cast<std::size_t>(count));
    }
  }
}

}  // namespace kelvora
