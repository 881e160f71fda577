#include "tools/smc/System.h"

#include <cstdlib>
#include <vector>

#include <crt_externs.h>
#include <dirent.h>
#include <unistd.h>

namespace kelvora::tool {

char**& environment() { return *_NSGetEnviron(); }

// The limit of descriptors says nothing: it may have been lowered after more were opened.
bool closeDescriptorsFrom(int first) {
  DIR* const folder = opendir("/dev/fd");
  if (folder == nullptr) {
    return false;
  }
  std::vector<int> open;
  while (const dirent* const entry = readdir(folder)) {
    open.push_back(std::atoi(entry->d_name));  // 0 for "." and ".."
  }
  closedir(folder);
  for (const int descriptor : open) {
    if (descriptor >= first) {
      close(descriptor);
    }
  }
  return true;
}

}  // namespace kelvora::tool
