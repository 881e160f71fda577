#include "fans/ToolWrites.h"

#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ports/Ports.h"
#include "tests/fans/LeaseFixture.h"

namespace kelvora::testing {
namespace {

// Tools that do not end before `haveEnded`.
class StuckTools : public platform::ChildProcesses {
 public:
  platform::ChildLaunch launch(const platform::ChildRequest& request) override {
    ++launches;
    last = request;
    return {std::make_unique<Tool>(*this), ""};
  }

  int launches = 0;
  platform::ChildRequest last;
  bool haveEnded = false;

 private:
  class Tool : public platform::ChildProcess {
   public:
    explicit Tool(const StuckTools& owner) : owner_(owner) {}
    std::size_t readStandardOutput(std::span<std::byte>) override { return 0; }
    void closeStandardOutput() override {}
    int waitUntilExit() override { return 0; }
    std::optional<int> waitUntilExit(std::chrono::milliseconds) override {
      return owner_.haveEnded ? std::optional(0) : std::nullopt;
    }
    void end() override {}

   private:
    const StuckTools& owner_;
  };
};

class ToolWritesTest : public LeaseFixture {};

TEST_F(ToolWritesTest, OfToolsThatDoNotEndStartSixteenAtMost) {
  auto owned = std::make_unique<StuckTools>();
  StuckTools& processes = *owned;
  platform->ports().childProcesses = std::move(owned);
  ToolWrites tools(*platform, std::chrono::milliseconds(0));
  const FanWrite write{"F0Md", "00"};
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(tools.write(write), "F0Md: the privileged tool has not ended in time");
  }
  EXPECT_EQ(processes.launches, 16);
  EXPECT_TRUE(tools.hasLateTools());
  processes.haveEnded = true;
  EXPECT_EQ(tools.write(write), "");
  EXPECT_EQ(processes.launches, 17);
  EXPECT_FALSE(tools.hasLateTools());
}

// Else a tool that hangs would keep a pipe of its host's output open.
TEST_F(ToolWritesTest, HaveNeitherInputNorOutputOfTheirHost) {
  auto owned = std::make_unique<StuckTools>();
  StuckTools& processes = *owned;
  platform->ports().childProcesses = std::move(owned);
  ToolWrites tools(*platform, std::chrono::milliseconds(0));
  std::vector<ToolWrites::HandBack> fans = {{{"F0Md", "00"}}};
  tools.handBack(fans);
  EXPECT_EQ(processes.last.standardInput, platform::kNullDevice);
  EXPECT_EQ(processes.last.standardOutput, platform::kNullDevice);
}

}  // namespace
}  // namespace kelvora::testing
