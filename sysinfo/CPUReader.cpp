#include "KelvoraCore/CPUReader.h"

#include "base/UTF8Text.h"
#include "ports/Ports.h"
#include "product/ChildOutput.h"
#include "sysinfo/ProcessList.h"

namespace kelvora {

namespace {

void addNames(std::vector<CPUTopProcess>& processes, platform::Workspace& workspace) {
  for (CPUTopProcess& process : processes) {
    const auto application = workspace.runningApplication(process.pid);
    if (application && !application->localizedName.empty()) {
      process.name = application->localizedName;
    }
  }
}

}  // namespace

void CPUReaderDelegate::cpuReaderDidReadTopProcesses(CPUReader&,
                                                     const std::vector<CPUTopProcess>&) {}

CPUReader::CPUReader() : CPUReader(Platform::current()) {}

CPUReader::CPUReader(Platform& platform) : platform_(platform) {}

void CPUReader::read() {
  const std::string text = processList();
  if (text.empty() || isStopped_) {
    return;
  }
  std::vector<CPUTopProcess> processes = parseProcessList(text, numberOfProcesses_);
  addNames(processes, platform_.workspace());
  if (const auto receiver = delegate()) {
    receiver->cpuReaderDidReadTopProcesses(*this, processes);
  }
}

void CPUReader::stop() {
  isStopped_ = true;
  const std::lock_guard lock(mutex_);
  if (running_ != nullptr) {
    running_->end();
  }
}

// Empty if the tool cannot be started.
std::string CPUReader::processList() {
  const platform::ChildLaunch launch = platform_.childProcesses().launch(processListRequest());
  if (!launch.child) {
    return "";
  }
  setRunning(launch.child.get());
  const std::string output = readToEnd(*launch.child);
  launch.child->waitUntilExit();
  setRunning(nullptr);
  return validUTF8(output);
}

void CPUReader::setRunning(platform::ChildProcess* tool) {
  const std::lock_guard lock(mutex_);
  running_ = tool;
  if (running_ != nullptr && isStopped_) {
    running_->end();
  }
}

}  // namespace kelvora
