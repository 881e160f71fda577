// Kelvora SMC: writes one key of a fan, with the rights of root for whoever may start it.
//
//   Kelvora SMC -k KEY -w HEX
//
// docs/privileged-tool.md says what it defends against, and what each check is for.
#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <tuple>

#include <unistd.h>

#include "platforms/shared/FanWritingSMC.h"
#include "tools/smc/Failure.h"
#include "tools/smc/FanWriteRequest.h"
#include "tools/smc/FanWriter.h"
#include "tools/smc/KnownState.h"
#include "tools/smc/LastLog.h"
#include "tools/smc/Rights.h"

namespace {

using kelvora::tool::ExitStatus;
using kelvora::tool::Failure;

// One line on standard error; a reader that is gone misses it.
int report(ExitStatus status, std::string text) {
  if (!kelvora::tool::lastLoggedLine().empty()) {
    text += ": " + kelvora::tool::lastLoggedLine();
  }
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' '; }, ' ');
  const std::string line = "Kelvora SMC: " + text + "\n";
  std::ignore = write(STDERR_FILENO, line.data(), line.size());  // no handler interrupts it
  return static_cast<int>(status);
}

std::unique_ptr<kelvora::platform::SMCUserClient> smcFor(const std::string& key) {
  try {
    return kelvora::platform::fanWritingSMC(key);
  } catch (const std::runtime_error& error) {
    throw Failure(ExitStatus::kSMCRefused, key + ": " + error.what());
  }
}

// The order matters: what the arguments are is known before rights are used, and rights are gone
// before a value is looked at.
void run(std::span<const char* const> arguments) {
  const auto request = kelvora::tool::parsedRequest(arguments);
  const auto smc = smcFor(request.key);
  kelvora::tool::FanWriter writer(*smc);
  writer.open(request.key);
  if (!kelvora::tool::dropRights()) {
    throw Failure(ExitStatus::kRightsKept, request.key + ": the rights cannot be dropped");
  }
  writer.write(request);
}

}  // namespace

int main(int argc, char** argv) {
  if (!kelvora::tool::enterKnownState()) {
    return report(ExitStatus::kUnknownState, "the process cannot be brought into a known state");
  }
  try {
    run(std::span(argv, static_cast<std::size_t>(argc)));
    return static_cast<int>(ExitStatus::kWritten);
  } catch (const Failure& failure) {
    return report(failure.status(), failure.what());
  } catch (const std::bad_alloc&) {
    return report(ExitStatus::kOutOfMemory, "out of memory");
  }
}
