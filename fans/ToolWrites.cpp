#include "fans/ToolWrites.h"

#include <utility>

#include "hardware/KeyReading.h"
#include "hardware/PrivilegedTool.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

// A hanging tool may be one of a hanging SMC, of which every further tool would hang too.
constexpr std::size_t kMostLateTools = 16;
constexpr const char* kLate = "has not ended in time";

std::string faultOf(const FanWrite& write, const std::string& outcome) {
  return write.key + ": the privileged tool " + outcome;
}

}  // namespace

std::string ToolWrites::write(const FanWrite& write, ToolDescriptors descriptors) {
  const std::string outcome = outcomeOf(write, descriptors, /*isSilent=*/false);
  return outcome.empty() ? "" : faultOf(write, outcome);
}

std::string ToolWrites::handBack(const FanWrite& write, ToolDescriptors descriptors) {
  // It is retried until it succeeds, so the tool's message would be repeated each time.
  const std::string outcome = outcomeOf(write, descriptors, /*isSilent=*/true);
  std::string fault = outcome.empty() ? "" : faultOf(write, outcome);
  return !fault.empty() && readsAs(platform_, write.key, write.value) ? "" : fault;
}

std::string ToolWrites::outcomeOf(const FanWrite& write, ToolDescriptors descriptors,
                                  bool isSilent) {
  auto request = privilegedToolRequest(platform_, write.value, write.key);
  if (!request) {
    return "is not installed";
  }
  forgetEndedTools();
  if (late_.size() >= kMostLateTools) {
    return kLate;
  }
  request->standardInput = descriptors.standardInput;
  request->standardOutput = descriptors.standardOutput;
  request->discardStandardError = isSilent;
  platform::ChildLaunch launch = platform_.childProcesses().launch(*request);
  if (!launch.child) {
    return "cannot be started: " + launch.failure;
  }
  const auto status = launch.child->waitUntilExit(limit_);
  if (!status) {
    late_.push_back(std::move(launch.child));
    return kLate;
  }
  if (*status == platform::kUnknownExitStatus) {
    return readsAs(platform_, write.key, write.value)
               ? ""
               : "has not written it; this program ignores SIGCHLD, so why is not known";
  }
  return *status == 0 ? "" : "ended with status " + std::to_string(*status);
}

bool ToolWrites::isInstalled() const {
  return privilegedToolRequest(platform_, "", "").has_value();
}

bool ToolWrites::hasLateTools() {
  forgetEndedTools();
  return !late_.empty();
}

void ToolWrites::forgetEndedTools() {
  std::erase_if(late_, [](const auto& tool) {
    return tool->waitUntilExit(std::chrono::milliseconds(0)).has_value();
  });
}

}  // namespace kelvora
