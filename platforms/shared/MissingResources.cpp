#include "platforms/shared/MissingResources.h"

#include "base/Log.h"

namespace kelvora::platform {

// Every look-up would repeat it: a language table is asked for each text.
void MissingResources::log(std::string_view resource, std::string_view type,
                           const std::vector<std::string>& folders) {
  {
    const std::lock_guard lock(mutex_);
    if (!types_.emplace(type).second) {
      return;
    }
  }
  std::string list;
  for (const std::string& folder : folders) {
    list += (list.empty() ? "" : ", ") + folder;
  }
  kelvora::log("KelvoraCore: no " + std::string(resource) + " in " + list +
               " (the CMake function kelvora_add_resources puts it there)");
}

}  // namespace kelvora::platform
