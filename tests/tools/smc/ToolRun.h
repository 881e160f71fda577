#pragma once

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <unistd.h>

#include "tests/support/ChildProgram.h"
#include "tests/support/ChildWork.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

inline constexpr uid_t kNobody = 65534;
inline constexpr const char* kDriverFolder = "/sys/devices/platform/applesmc.768";
struct Start {
  std::vector<std::string> arguments;
  std::vector<std::string> environment = {};  // all of it
  std::function<void()> prepare = [] {};
  std::string tool = KELVORA_SMC_TOOL;
};

inline std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) {
    result.push_back(const_cast<char*>(text.c_str()));
  }
  result.push_back(nullptr);
  return result;
}

/// Runs the tool with both outputs in files; what `prepare` does happens just before.
inline ProgramResult run(Start start) {
  const TemporaryFolder outputs;
  const std::string output = outputs.write("output", "");
  const std::string error = outputs.write("error", "");
  start.arguments.insert(start.arguments.begin(), "Kelvora SMC");
  ChildWork child([&] {
    dup2(open(output.c_str(), O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    dup2(open(error.c_str(), O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    start.prepare();
    execve(start.tool.c_str(), pointers(start.arguments).data(),
           pointers(start.environment).data());
    return 127;
  });
  const int status = child.wait();
  return {status, outputs.read("output"), outputs.read("error")};
}

inline std::vector<std::string> writing(const char* key, const char* value) {
  return {"-k", key, "-w", value};
}

inline void becomeNobody() {
  const gid_t groups[] = {kNobody, 12345};
  if (setgroups(2, groups) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) {
    std::_Exit(126);
  }
}

}  // namespace kelvora::testing
