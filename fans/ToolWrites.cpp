#include "fans/ToolWrites.h"

#include <algorithm>
#include <utility>

#include "hardware/KeyReading.h"
#include "hardware/PrivilegedTool.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

using Clock = std::chrono::steady_clock;

// A hanging tool may be one of a hanging SMC, of which every further tool would hang too.
constexpr std::size_t kMostLateTools = 16;
constexpr const char* kLate = "has not ended in time";

}  // namespace

std::string ToolWrites::write(const FanWrite& write, ToolDescriptors descriptors) {
  return faultAtEnd(start(write, descriptors, /*isSilent=*/false), limit_);
}

// They are retried until they succeed, so a tool's message would be repeated each time.
void ToolWrites::handBack(std::vector<HandBack>& fans) {
  std::vector<Run> runs;
  runs.reserve(fans.size());
  for (const HandBack& fan : fans) {
    runs.push_back(start(fan.write, fan.descriptors, /*isSilent=*/true));
  }
  const auto deadline = Clock::now() + std::max(limit_, std::chrono::milliseconds(0));
  for (std::size_t i = 0; i < fans.size(); ++i) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    const std::string fault =
        faultAtEnd(std::move(runs[i]), std::max(left, std::chrono::milliseconds(0)));
    fans[i].isWritten = fault.empty();
    const bool isBack = fault.empty() || readsAs(platform_, fans[i].write.key, fans[i].write.value);
    fans[i].fault = isBack ? "" : fault;
  }
}

ToolWrites::Run ToolWrites::start(const FanWrite& write, ToolDescriptors descriptors,
                                  bool isSilent) {
  auto request = privilegedToolRequest(platform_, write.value, write.key);
  if (!request) {
    return {write, nullptr, "is not installed"};
  }
  forgetEndedTools();
  if (late_.size() >= kMostLateTools) {
    return {write, nullptr, kLate};
  }
  request->standardInput = descriptors.standardInput;
  request->standardOutput = descriptors.standardOutput;
  request->discardStandardError = isSilent;
  platform::ChildLaunch launch = platform_.childProcesses().launch(*request);
  const std::string outcome = launch.child ? "" : "cannot be started: " + launch.failure;
  return {write, std::move(launch.child), outcome};
}

std::string ToolWrites::outcomeAtEnd(Run& run, std::chrono::milliseconds limit) {
  if (!run.tool) {
    return run.outcome;
  }
  const auto status = run.tool->waitUntilExit(limit);
  if (!status) {
    late_.push_back(std::move(run.tool));
    return kLate;
  }
  if (*status == platform::kUnknownExitStatus) {
    return readsAs(platform_, run.write.key, run.write.value)
               ? ""
               : "has not written it; this program ignores SIGCHLD, so why is not known";
  }
  return *status == 0 ? "" : "ended with status " + std::to_string(*status);
}

std::string ToolWrites::faultAtEnd(Run run, std::chrono::milliseconds limit) {
  const std::string outcome = outcomeAtEnd(run, limit);
  return outcome.empty() ? "" : run.write.key + ": the privileged tool " + outcome;
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
