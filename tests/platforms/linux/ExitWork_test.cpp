#include "platforms/linux/bus/ExitWork.h"

#include <cstdlib>
#include <string_view>

#include <gtest/gtest.h>
#include <unistd.h>

namespace kelvora::platform {
namespace {

void say(std::string_view text) {
  [[maybe_unused]] const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
}

[[noreturn]] void exitWithWork() {
  // Pointers, so that nothing destroys the work before it runs.
  static const auto* const first = new ExitWork([] { say("first "); });
  delete new ExitWork([] { say("never "); });
  static const auto* const second = new ExitWork([] { say("second"); });
  std::exit(first == second ? 1 : 0);
}

// A handler that is registered before the first work runs after all work.
[[noreturn]] void exitWithWorkThatAHandlerDestroys() {
  static ExitWork* work = nullptr;
  std::atexit([] { delete work; });
  work = new ExitWork([] {});
  alarm(20);  // ends a process that waits for ever
  std::exit(0);
}

TEST(ExitWork, RunsAtTheNormalExitInTheOrderOfRegistration) {
  EXPECT_EXIT(exitWithWork(), ::testing::ExitedWithCode(0), "^first second$");
}

TEST(ExitWork, IsNotWaitedForWhenItHasRun) {
  EXPECT_EXIT(exitWithWorkThatAHandlerDestroys(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kelvora::platform
