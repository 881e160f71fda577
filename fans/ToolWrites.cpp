#include "fans/ToolWrites.h"

#include <utility>

#include "fans/FanReading.h"
#include "hardware/PrivilegedTool.h"
#include "ports/Ports.h"

namespace kelvora {

std::string ToolWrites::write(const FanWrite& write, int standardInput) {
  const std::string outcome = outcomeOf(write, standardInput);
  return outcome.empty() ? "" : write.key + ": the privileged tool " + outcome;
}

std::string ToolWrites::handBack(const FanWrite& write, int standardInput) {
  std::string fault = this->write(write, standardInput);
  return !fault.empty() && readsAs(platform_, write) ? "" : fault;
}

std::string ToolWrites::outcomeOf(const FanWrite& write, int standardInput) {
  auto request = privilegedToolRequest(platform_, write.value, write.key);
  if (!request) {
    return "is not installed";
  }
  request->standardInput = standardInput;
  platform::ChildLaunch launch = platform_.childProcesses().launch(*request);
  if (!launch.child) {
    return "cannot be started: " + launch.failure;
  }
  const auto status = launch.child->waitUntilExit(limit_);
  if (!status) {
    late_.push_back(std::move(launch.child));
    return "has not ended in time";
  }
  return *status == 0 ? "" : "ended with status " + std::to_string(*status);
}

bool ToolWrites::hasLateTools() {
  std::erase_if(late_, [](const auto& tool) {
    return tool->waitUntilExit(std::chrono::milliseconds(0)).has_value();
  });
  return !late_.empty();
}

}  // namespace kelvora
