#include "KelvoraCore/CPUReader.h"

#include "base/UTF8Text.h"
#include "ports/Ports.h"
#include "product/ChildOutput.h"
#include "sysinfo/ProcessList.h"

namespace kelvora {

namespace {

// Empty if the tool cannot be started.
std::string processList(platform::ChildProcesses& children) {
  platform::ChildRequest request;
  request.path = "/bin/ps";
  request.arguments = {"-Aceo pid,pcpu,comm", "-r"};
  request.captureStandardOutput = true;
  request.discardStandardError = true;
  const platform::ChildLaunch launch = children.launch(request);
  if (!launch.child) {
    return "";
  }
  const std::string output = readToEnd(*launch.child);
  launch.child->waitUntilExit();
  return validUTF8(output);
}

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
  const std::string text = processList(platform_.childProcesses());
  if (text.empty()) {
    return;
  }
  std::vector<CPUTopProcess> processes = parseProcessList(text, numberOfProcesses_);
  addNames(processes, platform_.workspace());
  if (const auto receiver = delegate()) {
    receiver->cpuReaderDidReadTopProcesses(*this, processes);
  }
}

}  // namespace kelvora
