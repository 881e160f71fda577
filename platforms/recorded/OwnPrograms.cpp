#include "platforms/recorded/OwnPrograms.h"

#include <algorithm>
#include <utility>

namespace kelvora::platform {

OwnPrograms::OwnPrograms(std::vector<std::string> paths, std::unique_ptr<ChildProcesses> host,
                         std::unique_ptr<ChildProcesses> recorded)
    : paths_(std::move(paths)), host_(std::move(host)), recorded_(std::move(recorded)) {}

ChildLaunch OwnPrograms::launch(const ChildRequest& request) {
  const bool isOwn = std::ranges::find(paths_, request.path) != paths_.end();
  return (isOwn ? host_ : recorded_)->launch(request);
}

}  // namespace kelvora::platform
