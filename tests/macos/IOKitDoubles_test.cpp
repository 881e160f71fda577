// The doubles of IOKit and of the HID event system: what they refuse.
#include <thread>

#include <gtest/gtest-spi.h>

#include "platforms/macos/CFValues.h"
#include "platforms/macos/IOOwned.h"
#include "platforms/macos/hardware/MacHIDEventSystem.h"
#include "platforms/macos/hardware/MatchingServices.h"
#include "tests/macos/frameworks/HardwareTest.h"
#include "tests/macos/frameworks/Values.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing::mac {
namespace {

using platform::CFOwned;
using platform::findMatchingServices;
using platform::HIDFunctions;
using platform::IOOwned;

class IOKitDoubles : public HardwareTest {
 protected:
  IOKitDoubles() {
    platform::RecordedMachine machine;
    machine.smcKeys = {smcKey("#KEY", "ui32", {0, 0, 0, 1})};
    machine.hid = {hidTemperature("PMU tdie1", 40)};
    boot(machine);
  }
};

TEST_F(IOKitDoubles, AnObjectIsOpenUntilItsRelease) {
  io_iterator_t iterator = 0;
  ASSERT_EQ(findMatchingServices("AppleSMC", &iterator), 0U);
  const io_object_t service = IOIteratorNext(iterator);
  EXPECT_EQ(ledger.open(), (std::map<std::string, int>{{"iterator", 1}, {"registry entry", 1}}));
  IOObjectRelease(service);
  IOObjectRelease(iterator);
  EXPECT_TRUE(ledger.open().empty());
}

TEST_F(IOKitDoubles, AnUnknownOrReleasedObjectFailsTheTestWithTheCallsName) {
  static io_iterator_t iterator = 0;
  ASSERT_EQ(findMatchingServices("AppleSMC", &iterator), 0U);
  IOObjectRelease(iterator);
  EXPECT_NONFATAL_FAILURE(IOObjectRelease(iterator),
                          "IOObjectRelease: services of AppleSMC is used after its release");
  EXPECT_NONFATAL_FAILURE(IOIteratorNext(iterator),
                          "IOIteratorNext: services of AppleSMC is used after its release");
  EXPECT_NONFATAL_FAILURE(IOObjectRelease(7), "7 is no object of the kernel");
  EXPECT_NONFATAL_FAILURE(IOServiceClose(7), "IOServiceClose: 7 is no object of the kernel");
}

TEST_F(IOKitDoubles, AnObjectOfTheWrongKindFailsTheTestWithTheCallsName) {
  static IOOwned iterator;
  static IOOwned service;
  ASSERT_EQ(findMatchingServices("AppleSMC", iterator.out()), 0U);
  service = IOOwned(IOIteratorNext(iterator.get()));
  static io_connect_t connection = 0;
  EXPECT_NONFATAL_FAILURE(IOIteratorNext(service.get()), "AppleSMC is not of the right kind");
  EXPECT_NONFATAL_FAILURE(IOServiceOpen(iterator.get(), mach_task_self(), 0, &connection),
                          "IOServiceOpen: services of AppleSMC is not of the right kind");
  ASSERT_EQ(IOServiceOpen(service.get(), mach_task_self(), 0, &connection), KERN_SUCCESS);
  EXPECT_NONFATAL_FAILURE(IOObjectRelease(connection),
                          "IOObjectRelease: connection to AppleSMC is not of the right kind");
  IOServiceClose(connection);
  iterator = {};
  service = {};
}

TEST_F(IOKitDoubles, AnotherPortOrTaskFailsTheTest) {
  static io_iterator_t iterator = 0;
  EXPECT_NONFATAL_FAILURE(IOServiceGetMatchingServices(5, IOServiceMatching("AppleSMC"), &iterator),
                          "the port is not the default main port");
  static IOOwned service;
  service = IOOwned(IOIteratorNext(iterator));
  IOObjectRelease(iterator);
  static io_connect_t connection = 0;
  EXPECT_NONFATAL_FAILURE(IOServiceOpen(service.get(), 5, 0, &connection),
                          "the task is not the running one");
  IOServiceClose(connection);
  service = {};
}

TEST_F(IOKitDoubles, ALookUpReleasesItsDictionaryInEveryCase) {
  io_iterator_t iterator = 0;
  ledger.failCall("IOServiceGetMatchingServices");
  EXPECT_NE(IOServiceGetMatchingServices(MACH_PORT_NULL, IOServiceMatching("A"), &iterator),
            KERN_SUCCESS);
  EXPECT_TRUE(ledger.open().empty());
  static CFMutableDictionaryRef matching = nullptr;
  matching = IOServiceMatching("AppleSMC");
  IOServiceGetMatchingServices(MACH_PORT_NULL, matching, &iterator);
  IOObjectRelease(iterator);
  EXPECT_NONFATAL_FAILURE(CFRelease(matching), "a CFDictionary is used after its last release");
}

TEST_F(IOKitDoubles, AServiceIsNotUsedWithoutItsClient) {
  const HIDFunctions& functions = HIDFunctions::ofSystem();
  static CFTypeRef service = nullptr;
  {
    const CFOwned<platform::HIDClientRef> client(functions.clientCreate(kCFAllocatorDefault));
    const CFOwned<CFArrayRef> services(functions.clientCopyServices(client.get()));
    service = CFRetain(CFArrayGetValueAtIndex(services.get(), 0));
  }
  EXPECT_NONFATAL_FAILURE(
      HIDFunctions::ofSystem().serviceCopyEvent(
          static_cast<platform::HIDServiceRef>(const_cast<void*>(service)), 15, 0, 0),
      "IOHIDServiceClientCopyEvent: a service is used after its client is gone");
  CFRelease(service);
}

TEST_F(IOKitDoubles, AClientIsNotUsedOnAnotherThread) {
  static CFOwned<platform::HIDClientRef> client;
  client =
      CFOwned<platform::HIDClientRef>(HIDFunctions::ofSystem().clientCreate(kCFAllocatorDefault));
  EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(
      std::thread([] {
        const CFOwned<CFArrayRef> services(
            HIDFunctions::ofSystem().clientCopyServices(client.get()));
      }).join(),
      "IOHIDEventSystemClientCopyServices: a client belongs to its creator's thread");
  client = {};
}

}  // namespace
}  // namespace kelvora::testing::mac
