// The end of a program that watches a machine whose tools hang.

#include <future>
#include <memory>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include "ports/Ports.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"
#include "tools/kelvora/WatchSampler.h"

namespace kelvora::tool {
namespace {

constexpr int kStatus = 7;

// The tool cannot even be started, so that there is nothing to end.
void endBesideATool(const std::shared_future<void>& neverSet) {
  Platform& platform = kelvora::testing::installRecordedPlatform("MacBookPro15,1");
  platform.ports().childProcesses = std::make_unique<kelvora::testing::ScriptedChildProcesses>(
      [&neverSet](const auto&) -> std::optional<kelvora::testing::ScriptedOutcome> {
        neverSet.wait();
        return std::nullopt;
      });
  WatchSampler sampler(platform);
  sampler.readProcesses(5);
  sampler.endOrExit(kStatus);
}

TEST(WatchSamplerEnd, IsNotKeptByAThreadThatTheSystemHoldsUp) {
  std::promise<void> gate;
  EXPECT_EXIT(endBesideATool(gate.get_future().share()), ::testing::ExitedWithCode(kStatus), "");
}

}  // namespace
}  // namespace kelvora::tool
