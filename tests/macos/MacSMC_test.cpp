#include "platforms/macos/hardware/MacSMC.h"

#include <array>
#include <thread>

#include "hardware/SMCConnection.h"
#include "tests/macos/frameworks/HardwareTest.h"
#include "tests/support/RawSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacSMC;
using platform::RecordedSMC;

using Calls = std::vector<std::string>;

const Calls kOpening = {R"(IOServiceMatching(AppleSMC))",
                        R"(IOServiceGetMatchingServices(0, {"IOProviderClass": "AppleSMC"}))",
                        "IOIteratorNext(services of AppleSMC)",
                        "IOObjectRelease(services of AppleSMC)",
                        "IOServiceOpen(AppleSMC, this task, 0)",
                        "IOObjectRelease(AppleSMC)"};

std::string call(const std::string& request) {
  return "IOConnectCallStructMethod(connection to AppleSMC, 2, " + request + ", 80)";
}

class MacSMCTest : public HardwareTest {
 protected:
  MacSMCTest() {
    platform::RecordedMachine machine;
    machine.smcKeys = {smcKey("#KEY", "ui32", {0, 0, 0, 2}), temperature("TC0P", 40)};
    boot(machine);
  }
  // What opening prints when `function` fails.
  std::string messageOfFailing(const char* function) {
    ledger.failCall(function);
    SMCConnection connection(smc);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(connection.open(), 1U);
    return ::testing::internal::GetCapturedStdout();
  }

  MacSMC smc;
  SMCValueRecord value;
};

TEST_F(MacSMCTest, OpeningTakesTheFirstServiceAndReleasesTheIteratorAndTheService) {
  SMCConnection connection(smc);
  EXPECT_EQ(connection.open(), 0U);
  EXPECT_EQ(takeCalls(), kOpening);
  EXPECT_EQ(ledger.open(), (std::map<std::string, int>{{"connection", 1}}));
  EXPECT_EQ(connection.close(), 0U);
  EXPECT_EQ(takeCalls(), Calls{"IOServiceClose(connection to AppleSMC)"});
}

TEST_F(MacSMCTest, AFailedOpeningSaysWhichCallFailedAndLeavesNothingOpen) {
  EXPECT_EQ(messageOfFailing("IOServiceMatching"),
            "Error: IOServiceGetMatchingServices() = e00002c2\n");
  EXPECT_TRUE(ledger.open().empty());
  EXPECT_EQ(messageOfFailing("IOServiceGetMatchingServices"),
            "Error: IOServiceGetMatchingServices() = e00002bc\n");
  EXPECT_TRUE(ledger.open().empty());
  EXPECT_EQ(messageOfFailing("IOIteratorNext"), "Error: no SMC found\n");
  EXPECT_TRUE(ledger.open().empty());
  EXPECT_EQ(messageOfFailing("IOServiceOpen"), "Error: IOServiceOpen() = e00002bc\n");
}

TEST_F(MacSMCTest, WhereNoConnectionWasOpenedAReadFailsWithoutACall) {
  messageOfFailing("IOServiceOpen");
  SMCConnection connection(smc);
  takeCalls();
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), platform::kKernelNotOpen);
  EXPECT_EQ(connection.close(), platform::kKernelNotOpen);
  EXPECT_TRUE(takeCalls().empty());
}

TEST_F(MacSMCTest, AMacWithoutAnSMCHasNoService) {
  boot({});
  SMCConnection connection(smc);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(connection.open(), 1U);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Error: no SMC found\n");
}

TEST_F(MacSMCTest, AReadAsksForTheInformationOnceAndForTheBytesEachTime) {
  SMCConnection connection(smc);
  connection.open();
  takeCalls();
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), 0U);
  EXPECT_EQ(value.dataSize, 2U);
  EXPECT_EQ(value.bytes[0], 40);
  EXPECT_EQ(takeCalls(), (Calls{call("9 TC0P"), call("5 TC0P of 2 bytes")}));
  EXPECT_EQ(connection.readKeyByIndex(1, value), 0U);
  EXPECT_EQ(takeCalls(), (Calls{call("8 #1"), call("5 TC0P of 2 bytes")}));
  EXPECT_EQ(connection.writeKey(SMCPackedKey("TC0P"), value), 0U);
  EXPECT_EQ(takeCalls(), (Calls{call("5 TC0P of 2 bytes"), call("6 TC0P of 2 bytes")}));
  connection.close();
}

TEST_F(MacSMCTest, EachFailedCallOfAReadGivesItsStatusAndTheNextReadWorks) {
  SMCConnection connection(smc);
  connection.open();
  ledger.failCall("IOConnectCallStructMethod", 1);
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), platform::kKernelError);
  EXPECT_EQ(value.dataSize, 0U);
  ledger.failCall("IOConnectCallStructMethod", 2);
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), platform::kKernelError);
  EXPECT_EQ(value.dataSize, 2U);
  EXPECT_EQ(value.bytes[0], 0);
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), 0U);
  ledger.failCallsFrom("IOConnectCallStructMethod");
  EXPECT_EQ(connection.readKeyByIndex(0, value), platform::kKernelError);
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), platform::kKernelError);
  ledger.failNothing();
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), 0U);
  connection.close();
}

TEST_F(MacSMCTest, AFailedClosingGivesItsStatusAndTheConnectionIsGone) {
  SMCConnection connection(smc);
  connection.open();
  ledger.failCall("IOServiceClose");
  EXPECT_EQ(connection.close(), platform::kKernelError);
  EXPECT_EQ(connection.close(), platform::kKernelNotOpen);
}

TEST_F(MacSMCTest, AClosedOrUnknownConnectionDoesNotReachTheKernel) {
  std::array<std::byte, 80> record{};
  platform::IOObject handle = 0;
  {
    const RawSMC connection(smc);
    handle = connection.handle();
    EXPECT_EQ(smc.callStructMethod(handle + 1, 2, record, record), platform::kKernelNotOpen);
  }
  takeCalls();
  EXPECT_EQ(smc.callStructMethod(handle, 2, record, record), platform::kKernelNotOpen);
  EXPECT_EQ(smc.callStructMethod(0, 2, record, record), platform::kKernelNotOpen);
  EXPECT_EQ(smc.closeService(handle), platform::kKernelNotOpen);
  EXPECT_TRUE(takeCalls().empty());
}

TEST_F(MacSMCTest, WhatIsStillOpenIsClosedWithThePort) {
  {
    MacSMC another;
    SMCConnection connection(another);
    connection.open();
    connection.open();
    EXPECT_EQ(ledger.open(), (std::map<std::string, int>{{"connection", 2}}));
  }
  EXPECT_TRUE(ledger.open().empty());
}

TEST_F(MacSMCTest, ThreadsReadWhileAnotherCloses) {
  SMCConnection connection(smc);
  connection.open();
  const auto work = [&] {
    SMCValueRecord read;
    for (int i = 0; i < 300; ++i) {
      const auto status = connection.readKey(SMCPackedKey("TC0P"), read);
      EXPECT_TRUE(status == 0 || status == platform::kKernelNotOpen) << status;
    }
  };
  std::thread first(work);
  std::thread second(work);
  connection.close();
  first.join();
  second.join();
}

class MacSMCOfRecordedMac : public HardwareTest,
                            public ::testing::WithParamInterface<const char*> {};

void expectSameReply(const RawSMC::Reply& reply, const RawSMC::Reply& expected) {
  EXPECT_EQ(reply.status, expected.status);
  EXPECT_EQ(reply.key, expected.key);
  EXPECT_EQ(reply.dataSize, expected.dataSize);
  EXPECT_EQ(reply.dataType, expected.dataType);
  EXPECT_EQ(reply.attributes, expected.attributes);
  EXPECT_EQ(reply.result, expected.result);
  EXPECT_EQ(reply.payload, expected.payload);
}

TEST_P(MacSMCOfRecordedMac, EveryReplyIsThatOfTheRecordedSMC) {
  const auto machine = recordedMachine(GetParam());
  boot(machine);
  MacSMC smc;
  if (!machine.smcKeys) {
    platform::IOObject iterator = 0;
    ASSERT_EQ(smc.matchingServices("AppleSMC", iterator), 0U);
    EXPECT_EQ(smc.nextService(iterator), 0U);
    smc.release(iterator);
    return;
  }
  RecordedSMC recorded(machine.smcKeys);
  RawSMC expected(recorded);
  RawSMC actual(smc);
  for (std::uint32_t index = 0; index <= machine.smcKeys->size(); ++index) {
    const auto reply = actual.call(8, 0, 0, index);
    expectSameReply(reply, expected.call(8, 0, 0, index));
    const auto information = actual.call(9, reply.key);
    expectSameReply(information, expected.call(9, reply.key));
    expectSameReply(actual.call(5, reply.key, information.dataSize),
                    expected.call(5, reply.key, information.dataSize));
  }
}

INSTANTIATE_TEST_SUITE_P(Recorded, MacSMCOfRecordedMac, ::testing::ValuesIn(kRecordedMachines),
                         nameOfMachine);

}  // namespace
}  // namespace kelvora::testing::mac
