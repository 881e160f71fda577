#include "KelvoraCore/CPUReader.h"

#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platforms/recorded/RecordedSystem.h"
#include "tests/support/HangingChildProcesses.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using Processes = std::vector<CPUTopProcess>;

class CountedWorkspace : public platform::RecordedWorkspace {
 public:
  using RecordedWorkspace::RecordedWorkspace;
  std::vector<platform::RunningApplication> runningApplications() override {
    ADD_FAILURE() << "the whole list takes long, and may be an old one on macOS";
    return {};
  }
  std::optional<platform::RunningApplication> runningApplication(std::int64_t pid) override {
    ++questions;
    return RecordedWorkspace::runningApplication(pid);
  }
  int questions = 0;
};

struct Delegate : CPUReaderDelegate {
  void cpuReaderDidReadTopProcesses(CPUReader& from, const Processes& processes) override {
    reader = &from;
    thread = std::this_thread::get_id();
    lists.push_back(processes);
  }
  CPUReader* reader = nullptr;
  std::thread::id thread;
  std::vector<Processes> lists;
};

struct CPUReaderTest : ::testing::Test {
  CPUReaderTest() {
    auto scripted = std::make_unique<ScriptedChildProcesses>(
        [this](const platform::ChildRequest&) { return outcome; });
    children = scripted.get();
    platform->ports().childProcesses = std::move(scripted);
    auto counted = std::make_unique<CountedWorkspace>(std::vector<platform::RunningApplication>{
        {88, "com.apple.finder", "Finder"}, {412, "com.apple.Safari", "Safari Browser"}});
    workspace = counted.get();
    platform->ports().workspace = std::move(counted);
    reader.setDelegate(delegate);
  }

  std::optional<ScriptedOutcome> outcome =
      ScriptedOutcome{"  PID  %CPU COMM\n  412  38.4 Safari\n  167  12.5 WindowServer\n"};
  std::unique_ptr<Platform> platform = recordedPlatform(recordedMachine("Macmini8,1"));
  ScriptedChildProcesses* children = nullptr;
  CountedWorkspace* workspace = nullptr;
  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
  CPUReader reader{*platform};
};

TEST_F(CPUReaderTest, ListsFiveProcessesUntilANumberIsSet) {
  EXPECT_EQ(reader.numberOfProcesses(), 5);
  outcome->output = "H\n1 9 a\n2 8 b\n3 7 c\n4 6 d\n5 4 e\n6 3 f\n7 2 g\n";
  reader.read();
  reader.setNumberOfProcesses(6);
  EXPECT_EQ(reader.numberOfProcesses(), 6);
  reader.read();
  ASSERT_EQ(delegate->lists.size(), 2U);
  EXPECT_EQ(delegate->lists[0].size(), 5U);
  EXPECT_EQ(delegate->lists[1].size(), 6U);
}

TEST_F(CPUReaderTest, StartsTheToolOncePerReading) {
  reader.setup();
  EXPECT_EQ(children->requests.size(), 0U);
  reader.read();
  ASSERT_EQ(children->requests.size(), 1U);
  const platform::ChildRequest& request = children->requests[0];
  EXPECT_EQ(request.path, "/bin/ps");
  EXPECT_THAT(request.arguments, ElementsAre("-Aceo pid,pcpu,comm", "-r"));
  EXPECT_TRUE(request.captureStandardOutput);
  EXPECT_TRUE(request.discardStandardError);
  EXPECT_EQ(children->waits, 1);
}

TEST_F(CPUReaderTest, PassesItselfAndTheListOnTheCallersThread) {
  reader.read();
  EXPECT_EQ(delegate->reader, &reader);
  EXPECT_EQ(delegate->thread, std::this_thread::get_id());
  ASSERT_EQ(delegate->lists.size(), 1U);
  ASSERT_EQ(delegate->lists[0].size(), 2U);
  EXPECT_EQ(
      delegate->lists[0][0],
      (CPUTopProcess{.pid = 412, .command = "Safari", .name = "Safari Browser", .usage = 38.4}));
  std::thread([&] { reader.read(); }).join();
  EXPECT_NE(delegate->thread, std::this_thread::get_id());
}

TEST_F(CPUReaderTest, AProcessThatIsNotAnApplicationHasNoName) {
  reader.read();
  EXPECT_EQ(delegate->lists.at(0).at(1).name, std::nullopt);
  EXPECT_EQ(delegate->lists.at(0).at(1).command, "WindowServer");
}

TEST_F(CPUReaderTest, AnApplicationWithoutANameHasNone) {
  platform->ports().workspace = std::make_unique<platform::RecordedWorkspace>(
      std::vector<platform::RunningApplication>{{412, "com.apple.Safari", ""}});
  reader.read();
  EXPECT_EQ(delegate->lists.at(0).at(0).name, std::nullopt);
  EXPECT_EQ(delegate->lists.at(0).at(0).command, "Safari");
}

TEST_F(CPUReaderTest, AsksForTheNamesOfTheListedProcessesOnly) {
  reader.setNumberOfProcesses(1);
  reader.read();
  EXPECT_EQ(workspace->questions, 1);
}

TEST_F(CPUReaderTest, AHeaderAloneIsAnEmptyListForTheDelegate) {
  outcome->output = "  PID  %CPU COMM\n";
  reader.read();
  EXPECT_THAT(delegate->lists, ElementsAre(Processes()));
}

TEST_F(CPUReaderTest, WithoutOutputTheDelegateIsNotCalled) {
  outcome->output = "";
  reader.read();
  EXPECT_EQ(delegate->lists.size(), 0U);
  EXPECT_EQ(children->waits, 1);
  EXPECT_EQ(workspace->questions, 0);
}

TEST_F(CPUReaderTest, WithoutTheToolTheDelegateIsNotCalledAndNothingIsLogged) {
  outcome = std::nullopt;
  ::testing::internal::CaptureStderr();
  reader.read();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(delegate->lists.size(), 0U);
}

TEST_F(CPUReaderTest, ReadsOnAfterAReadingFailed) {
  const auto list = std::exchange(outcome, std::nullopt);
  reader.read();
  outcome = list;
  reader.read();
  EXPECT_EQ(delegate->lists.size(), 1U);
}

TEST_F(CPUReaderTest, TheExitStatusDoesNotCount) {
  outcome->exitStatus = 1;
  reader.read();
  EXPECT_EQ(delegate->lists.size(), 1U);
}

TEST_F(CPUReaderTest, OutputMayArriveInPieces) {
  outcome->largestRead = 1;
  outcome->output = "H\n412 3.0 \u7a0b\u5e8f";
  reader.read();
  EXPECT_EQ(delegate->lists.at(0).at(0).command, "\u7a0b\u5e8f");
}

TEST_F(CPUReaderTest, WhatIsNotUTF8IsAReplacementCharacter) {
  outcome->output = "H\n412 3.0 cut \xe7\xa8\n167 2.0 x\n";
  reader.read();
  ASSERT_EQ(delegate->lists.at(0).size(), 2U);
  EXPECT_EQ(delegate->lists[0][0].command, "cut \ufffd");
  EXPECT_EQ(delegate->lists[0][1].command, "x");
}

TEST_F(CPUReaderTest, AStopEndsTheToolThatAnotherThreadWaitsFor) {
  auto made = std::make_unique<HangingChildProcesses>("  PID  %CPU COMM\n  412  3");
  const HangingChildProcesses& hanging = *made;
  platform->ports().childProcesses = std::move(made);
  std::thread reading([this] { reader.read(); });
  hanging.waitUntilHanging();
  EXPECT_EQ(hanging.ends, 0);
  reader.stop();
  reading.join();
  EXPECT_EQ(hanging.ends, 1);
  EXPECT_TRUE(delegate->lists.empty()) << "the list is not whole";
  reader.read();
  EXPECT_EQ(hanging.ends, 2) << "a later reading does not hang either";
  EXPECT_TRUE(delegate->lists.empty());
}

TEST_F(CPUReaderTest, AStopWithoutAReadingLeavesToolsThatHaveEndedAlone) {
  reader.read();
  EXPECT_EQ(delegate->lists.size(), 1U);
  reader.stop();
  reader.read();
  EXPECT_EQ(delegate->lists.size(), 1U);
}

TEST_F(CPUReaderTest, HoldsItsDelegateWeakly) {
  EXPECT_EQ(reader.delegate(), delegate);
  delegate.reset();
  EXPECT_EQ(reader.delegate(), nullptr);
  reader.read();
  EXPECT_EQ(children->requests.size(), 1U);
}

TEST_F(CPUReaderTest, ADelegateMayIgnoreTheList) {
  const auto silent = std::make_shared<CPUReaderDelegate>();
  reader.setDelegate(silent);
  reader.read();
  EXPECT_EQ(delegate->lists.size(), 0U);
}

TEST(CPUReader, ReadsTheCurrentPlatformByDefault) {
  installRecordedPlatform("MacBookPro15,1");
  const auto delegate = std::make_shared<Delegate>();
  CPUReader reader;
  reader.setDelegate(delegate);
  reader.read();
  EXPECT_EQ(delegate->lists.at(0).at(0),
            (CPUTopProcess{.pid = 412, .command = "Safari", .name = "Safari", .usage = 38.4}));
}

TEST(CPUReader, ReadsTheListOfEveryRecordedMac) {
  for (const char* name : kRecordedMachines) {
    const auto platform = recordedPlatform(recordedMachine(name));
    const auto delegate = std::make_shared<Delegate>();
    CPUReader reader(*platform);
    reader.setDelegate(delegate);
    reader.setNumberOfProcesses(100);
    reader.read();
    EXPECT_EQ(delegate->lists.at(0).size(), 7U) << name;
    EXPECT_EQ(delegate->lists[0][3].command, "Google Chrome Helper") << name;
  }
}

}  // namespace
}  // namespace kelvora::testing
