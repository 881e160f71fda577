#include "platforms/recorded/OwnPrograms.h"

#include <utility>

namespace kelvora::platform {

OwnPrograms::OwnPrograms(std::unique_ptr<ChildProcesses> host,
                         std::unique_ptr<ChildProcesses> recorded)
    : host_(std::move(host)), recorded_(std::move(recorded)) {}

ChildLaunch OwnPrograms::launch(const ChildRequest& request) {
  return (request.isOwnProgram ? host_ : recorded_)->launch(request);
}

}  // namespace kelvora::platform
