// The SMC, the HID event system and the I/O registry.
#include <array>
#include <thread>

#include "tests/platforms/shared/PortsTest.h"
#include "tests/support/RawSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using Services = decltype(platform::RecordedMachine::registry)::value_type;

class SMCPort : public PortsTest {
 protected:
  // Not in the order of their codes, one of them twice.
  SMCPort() {
    keys = {smcKey("TC0P", "sp78", {0x25, 0x20}), smcKey("#KEY", "ui32", {0, 0, 0, 4}),
            smcKey("BNCM", "ui8 ", {0}),          smcKey("TC0P", "flt ", {1, 2, 3, 4}),
            smcKey("Fail", "ui8 ", {7}),          smcKey("None", "ui8 ", {})};
    keys[0].attributes = 192;
    keys[2].result = 133;
    keys[4].status = platform::kKernelError;
    machine.smcKeys = keys;
    machine.registry.emplace();
    boot(machine);
  }

  std::vector<platform::RecordedSMCKey> keys;
  platform::RecordedMachine machine;
};

TEST_F(SMCPort, ReadsTheBytesOfAKey) {
  RawSMC connection(*ports.smc);
  const auto reply = connection.call(5, SMCPackedKey("TC0P"), 2);
  EXPECT_EQ(reply.status, 0U);
  EXPECT_EQ(reply.result, 0);
  EXPECT_EQ(reply.payload[0], std::byte{0x25});
  EXPECT_EQ(reply.payload[1], std::byte{0x20});
  EXPECT_EQ(reply.payload[2], std::byte{0});
}

TEST_F(SMCPort, ReturnsSizeTypeAndAttributesOfAKey) {
  RawSMC connection(*ports.smc);
  const auto reply = connection.call(9, SMCPackedKey("TC0P"));
  EXPECT_EQ(reply.dataSize, 2U);
  EXPECT_EQ(reply.dataType, SMCPackedKey("sp78"));
  EXPECT_EQ(reply.attributes, 192);
  EXPECT_EQ(connection.call(9, SMCPackedKey("None")).dataSize, 0U);
}

TEST_F(SMCPort, ListsEveryKeyByIndexInOrder) {
  RawSMC connection(*ports.smc);
  for (std::uint32_t i = 0; i < keys.size(); ++i) {
    const auto reply = connection.call(8, 0, 0, i);
    EXPECT_EQ(reply.key, keys[i].key) << i;
    EXPECT_EQ(reply.result, 0);
  }
}

TEST_F(SMCPort, AnUnknownKeyOrIndexAnswersResult132AndSizeZero) {
  RawSMC connection(*ports.smc);
  for (const std::uint8_t command : {std::uint8_t{5}, std::uint8_t{6}, std::uint8_t{9}}) {
    const auto reply = connection.call(command, SMCPackedKey("Nope"));
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(reply.result, 132);
    EXPECT_EQ(reply.dataSize, 0U);
  }
  for (const std::uint32_t index : {6U, 0xffffffffU}) {
    const auto reply = connection.call(8, 0, 0, index);
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(reply.result, 132);
  }
}

TEST_F(SMCPort, AResultOrAStatusIsThatOfTheRead) {
  RawSMC connection(*ports.smc);
  EXPECT_EQ(connection.call(5, SMCPackedKey("BNCM"), 1).result, 133);
  EXPECT_EQ(connection.call(9, SMCPackedKey("BNCM")).result, 0);
  EXPECT_EQ(connection.call(5, SMCPackedKey("Fail"), 1).status, platform::kKernelError);
  EXPECT_EQ(connection.call(9, SMCPackedKey("Fail")).status, 0U);
}

TEST_F(SMCPort, AWrittenValueIsReadBackUnlessItsSizeIsAnother) {
  RawSMC connection(*ports.smc);
  const std::vector<std::byte> bytes(4, std::byte{9});
  EXPECT_NE(connection.call(6, SMCPackedKey("TC0P"), 4, 0, bytes).result, 0);
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[0], std::byte{0x25});
  const auto reply = connection.call(6, SMCPackedKey("TC0P"), 2, 0, bytes);
  EXPECT_EQ(reply.status, 0U);
  EXPECT_EQ(reply.result, 0);
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[0], std::byte{9});
}

TEST_F(SMCPort, ThereIsNoServiceWithoutAnSMCOrOfAnotherClass) {
  const auto servicesOf = [this](const char* serviceClass) {
    platform::IOObject iterator = 0;
    EXPECT_EQ(ports.smc->matchingServices(serviceClass, iterator), 0U);
    int count = 0;
    while (const platform::IOObject service = ports.smc->nextService(iterator)) {
      ports.smc->release(service);
      ++count;
    }
    ports.smc->release(iterator);
    return count;
  };
  EXPECT_EQ(servicesOf("AppleSMC"), 1);
  EXPECT_EQ(servicesOf("IOPCIDevice"), 0);
  machine.smcKeys.reset();
  boot(machine);
  EXPECT_EQ(servicesOf("AppleSMC"), 0);
}

TEST_F(SMCPort, ACallNeedsAnOpenConnection) {
  std::array<std::byte, 80> record{};
  EXPECT_EQ(ports.smc->callStructMethod(0, 2, record, record), platform::kKernelNotOpen);
  platform::IOObject handle = 0;
  {
    const RawSMC connection(*ports.smc);
    handle = connection.handle();
    EXPECT_EQ(ports.smc->callStructMethod(handle + 1, 2, record, record), platform::kKernelNotOpen);
  }
  EXPECT_EQ(ports.smc->callStructMethod(handle, 2, record, record), platform::kKernelNotOpen);
  EXPECT_EQ(ports.smc->closeService(handle), platform::kKernelNotOpen);
}

TEST_F(SMCPort, AMalformedCallIsABadArgument) {
  RawSMC connection(*ports.smc);
  std::array<std::byte, 80> record{};
  std::array<std::byte, 79> shorter{};
  const auto handle = connection.handle();
  platform::SMCUserClient& smc = *ports.smc;
  EXPECT_EQ(smc.callStructMethod(handle, 2, shorter, record), platform::kKernelBadArgument);
  EXPECT_EQ(smc.callStructMethod(handle, 2, record, shorter), platform::kKernelBadArgument);
  EXPECT_EQ(smc.callStructMethod(handle, 1, record, record), platform::kKernelBadArgument);
  EXPECT_EQ(connection.call(77, SMCPackedKey("TC0P")).status, platform::kKernelBadArgument);
}

TEST_F(SMCPort, ManyThreadsReadAndWriteAtOnce) {
  RawSMC connection(*ports.smc);
  const auto work = [&connection] {
    for (int i = 0; i < 500; ++i) {
      const std::vector<std::byte> bytes(2, static_cast<std::byte>(i % 256));
      EXPECT_EQ(connection.call(6, SMCPackedKey("TC0P"), 2, 0, bytes).status, 0U);
      const auto reply = connection.call(5, SMCPackedKey("TC0P"), 2);
      EXPECT_EQ(reply.status, 0U);
      EXPECT_EQ(reply.payload[0], reply.payload[1]) << "both bytes are of one write";
    }
  };
  std::thread other(work);
  work();
  other.join();
}

class HIDPort : public PortsTest {
 protected:
  void plugIn(std::vector<platform::RecordedHIDService> services) {
    platform::RecordedMachine machine;
    machine.hid = std::move(services);
    boot(machine);
  }
};

TEST_F(HIDPort, ListsTheMatchingServicesInOrder) {
  plugIn({{65280, 5, "B", {{15, 44.28}}},
          {65288, 3, "V", {{25, 1.1}}},
          {65280, 5, std::nullopt, {}},
          {65280, 5, "A", {}}});
  const auto client = ports.hid->createClient();
  client->setMatching({{"PrimaryUsagePage", 65280}, {"PrimaryUsage", 5}});
  const auto services = client->copyServices();
  ASSERT_TRUE(services.has_value());
  ASSERT_EQ(services->size(), 3U);
  EXPECT_EQ((*services)[0]->copyProperty("Product"), "B");
  EXPECT_EQ((*services)[0]->copyProperty("Other"), std::nullopt);
  EXPECT_EQ((*services)[1]->copyProperty("Product"), std::nullopt);
  EXPECT_EQ((*services)[2]->copyProperty("Product"), "A");
}

TEST_F(HIDPort, AnEventHoldsItsValueInItsFirstField) {
  plugIn({hidTemperature("B", 44.28)});
  const auto client = ports.hid->createClient();
  const auto services = client->copyServices();
  const auto event = services->front()->copyEvent(15, 0, 0);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->floatValue(983040), 44.28);
  EXPECT_EQ(event->floatValue(983041), 0);
  EXPECT_EQ(services->front()->copyEvent(25, 0, 0), nullptr);
  EXPECT_EQ(services->front()->copyEvent(std::int64_t{1} << 40, 0, 0), nullptr);
}

TEST_F(HIDPort, ReturnsNoneWhenNothingMatches) {
  plugIn({hidTemperature("B", 44.28)});
  {
    const auto client = ports.hid->createClient();
    client->setMatching({{"PrimaryUsagePage", 65288}, {"PrimaryUsage", 5}});
    EXPECT_FALSE(client->copyServices().has_value());
  }
  boot({});
  EXPECT_FALSE(ports.hid->createClient()->copyServices().has_value());
}

class RegistryPort : public PortsTest {
 protected:
  void boot(Services services) {
    platform::RecordedMachine machine;
    machine.registry = std::move(services);
    PortsTest::boot(machine);
  }
};

TEST_F(RegistryPort, ListsTheServicesOfAClassInOrderWithTheirChildren) {
  boot({{"A", {"first", {{"count", 3}}, {{"child", {}, {{"grandchild", {}, {}}}}}}},
        {"B", {}},
        {"A", {"second", {}, {}}}});
  const auto services = ports.registry->matchingServices("A");
  ASSERT_EQ(services->size(), 2U);
  const auto& first = *services->front();
  EXPECT_EQ(first.name(), "first");
  EXPECT_EQ(first.property("count"), PropertyListValue(3));
  EXPECT_EQ(first.property("other"), std::nullopt);
  EXPECT_EQ(first.properties(), (PropertyListValue::Dictionary{{"count", 3}}));
  const auto children = first.children("IOService");
  ASSERT_EQ(children.size(), 1U);
  EXPECT_EQ(children.front()->children("IOService").front()->name(), "grandchild");
  EXPECT_EQ(services->back()->name(), "second");
}

TEST_F(RegistryPort, AClassWithoutServicesIsEmptyAndAFailedQueryReturnsNone) {
  boot(Services());
  EXPECT_TRUE(ports.registry->matchingServices("A")->empty());
  PortsTest::boot({});
  EXPECT_FALSE(ports.registry->matchingServices("A").has_value());
}

TEST_F(RegistryPort, EntriesOutliveTheRegistry) {
  boot({{"A", {"first", {}, {{"child", {}, {}}}}}});
  const auto children = ports.registry->matchingServices("A")->front()->children("IOService");
  ports.registry.reset();
  EXPECT_EQ(children.front()->name(), "child");
}

TEST_F(RegistryPort, EveryKindOfPropertyKeepsItsKind) {
  const PropertyListValue::Dictionary properties{
      {"data", PropertyListValue::Data{std::byte{0}, std::byte{0xff}}},
      {"truth", true},
      {"negative", std::int64_t{-3000000000}},
      {"text", "Akku ü"},
      {"list", PropertyListValue::Array{1, 2.5, false}},
      {"more", PropertyListValue::Dictionary{{"a", 1}}}};
  boot({{"A", {"first", properties, {}}}});
  const auto services = ports.registry->matchingServices("A");
  EXPECT_EQ(services->front()->properties(), properties);
  for (const auto& [name, value] : properties) {
    EXPECT_EQ(services->front()->property(name), value) << name;
  }
}

}  // namespace
}  // namespace kelvora::testing
