#include "tests/macos/frameworks/Host.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <span>

#include <mach/mach.h>
#include <mach/mach_time.h>
#include <net/if.h>
#include <net/if_dl.h>
#include <net/route.h>
#include <sys/mount.h>
#include <sys/sysctl.h>

#include "platforms/shared/SystemControlTable.h"
#include "tests/macos/frameworks/Ledger.h"

namespace kelvora::testing::mac {

namespace {

template <typename T>
void append(std::vector<std::byte>& bytes, const T& value, std::size_t size) {
  const auto all = std::as_bytes(std::span(&value, 1));
  bytes.insert(bytes.end(), all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size));
}

void appendInterface(std::vector<std::byte>& bytes, const platform::InterfaceCounters& interface) {
  sockaddr_dl address = {};
  address.sdl_nlen = static_cast<std::uint8_t>(interface.name.size());
  std::memcpy(address.sdl_data, interface.name.data(),
              std::min(interface.name.size(), sizeof(address.sdl_data)));
  if_msghdr2 head = {};
  head.ifm_type = RTM_IFINFO2;
  head.ifm_msglen = sizeof(head) + sizeof(address);
  head.ifm_data.ifi_ibytes = interface.receivedBytes;
  head.ifm_data.ifi_obytes = interface.sentBytes;
  append(bytes, head, sizeof(head));
  append(bytes, address, sizeof(address));
}

// An address of an interface, which programs pass over.
void appendOther(std::vector<std::byte>& bytes) {
  if_msghdr2 head = {};
  head.ifm_type = RTM_IFINFO2 + 1;
  head.ifm_msglen = 20;
  append(bytes, head, head.ifm_msglen);
}

std::string controlName(std::span<const int> name) {
  std::string text;
  for (const int number : name) {
    text += (text.empty() ? "" : ".") + std::to_string(number);
  }
  return text;
}

int byNumber(std::span<const int> name, void* value, std::size_t* size) {
  const auto& machine = Host::shared().machine();
  if (controlName(name) == "4.17.0.0.6.0") {
    return platform::copyControl(interfaceList(machine.statistics.interfaces), value, size);
  }
  const auto& pageSize = machine.statistics.pageSizeBytes;
  if (controlName(name) == "6.7" && pageSize) {
    return platform::copyControl(platform::int32ControlBytes(static_cast<std::int32_t>(*pageSize)),
                                 value, size);
  }
  return platform::SystemControlTable(machine.sysctl).byNumber(name, value, size);
}

int answer(int error) {
  errno = error;
  return error == 0 ? 0 : -1;
}

const char* asked(const void* value) { return value == nullptr ? "size" : "value"; }

// Memory that the kernel gave to the program.
std::map<vm_address_t, std::vector<integer_t>>& givenMemory() {
  static auto* const memory = new std::map<vm_address_t, std::vector<integer_t>>();
  return *memory;
}

constexpr mach_port_t kHostPort = 0x207;
constexpr kern_return_t kHostFailure = 5;
constexpr mach_timebase_info_data_t kUnit = {125, 3};

void requireHost(const std::string& function, host_t host) {
  if (host != kHostPort || Ledger::shared().open()["right to the host"] == 0) {
    Ledger::misuse(function, "the port is not the host's, or not the program's any more");
  }
}

}  // namespace

Host& Host::shared() {
  static Host host;
  return host;
}

std::vector<std::byte> interfaceList(const std::vector<platform::InterfaceCounters>& interfaces) {
  std::vector<std::byte> bytes;
  for (const auto& interface : interfaces) {
    appendInterface(bytes, interface);
    appendOther(bytes);
  }
  return bytes;
}

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT: the functions of the system are global

int sysctlbyname(const char* name, void* value, std::size_t* size, void* newValue,
                 std::size_t newSize) {
  if (newValue != nullptr || newSize != 0) {
    Ledger::misuse("sysctlbyname", "a value is set");
  }
  if (Ledger::shared().called("sysctlbyname", name, asked(value))) {
    return answer(EPERM);
  }
  return answer(kelvora::platform::SystemControlTable(Host::shared().machine().sysctl)
                    .byName(name, value, size));
}

int sysctl(int* name, unsigned int count, void* value, std::size_t* size, void* newValue,
           std::size_t newSize) {
  if (newValue != nullptr || newSize != 0) {
    Ledger::misuse("sysctl", "a value is set");
  }
  const std::span<const int> numbers(name, count);
  if (Ledger::shared().called("sysctl", controlName(numbers), asked(value))) {
    return answer(EPERM);
  }
  return answer(byNumber(numbers, value, size));
}

mach_port_t mach_host_self() {
  Ledger::shared().called("mach_host_self");
  Ledger::shared().opened("right to the host");
  return kHostPort;
}

kern_return_t mach_port_deallocate(mach_port_t task, mach_port_t port) {
  if (task != mach_task_self()) {
    Ledger::misuse("mach_port_deallocate", "the task is not this one");
  }
  requireHost("mach_port_deallocate", port);
  Ledger::shared().called("mach_port_deallocate");
  Ledger::shared().closed("right to the host");
  return KERN_SUCCESS;
}

kern_return_t host_processor_info(host_t host, processor_flavor_t flavor, natural_t* processors,
                                  processor_info_array_t* counters, mach_msg_type_number_t* count) {
  requireHost("host_processor_info", host);
  const bool fails = Ledger::shared().called("host_processor_info", flavor);
  const auto& ticks = Host::shared().machine().statistics.processorTicks;
  if (fails || !ticks) {
    return kHostFailure;
  }
  std::vector<integer_t> values;
  for (const auto& processor : *ticks) {
    for (const std::uint32_t value :
         {processor.user, processor.system, processor.idle, processor.nice}) {
      values.push_back(static_cast<integer_t>(value));
    }
  }
  *processors = static_cast<natural_t>(ticks->size());
  *count = static_cast<mach_msg_type_number_t>(values.size());
  *counters = values.data();
  givenMemory().emplace(reinterpret_cast<vm_address_t>(values.data()), std::move(values));
  Ledger::shared().opened("memory of the kernel");
  return KERN_SUCCESS;
}

kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t size) {
  Ledger::shared().called("vm_deallocate");
  const auto found = givenMemory().find(address);
  if (task != mach_task_self() || found == givenMemory().end() ||
      found->second.size() * sizeof(integer_t) != size) {
    Ledger::misuse("vm_deallocate", "the memory is not what the kernel gave");
    return kHostFailure;
  }
  givenMemory().erase(found);
  Ledger::shared().closed("memory of the kernel");
  return KERN_SUCCESS;
}

kern_return_t host_statistics(host_t host, host_flavor_t flavor, host_info_t information,
                              mach_msg_type_number_t* count) {
  requireHost("host_statistics", host);
  const bool fails = Ledger::shared().called("host_statistics", flavor, *count);
  const auto& memory = Host::shared().machine().statistics.memory;
  if (fails || !memory) {
    return kHostFailure;
  }
  const vm_statistics_data_t statistics = {
      memory->free, memory->active, memory->inactive, memory->wired, {}};
  std::memcpy(information, &statistics, sizeof(statistics));
  return KERN_SUCCESS;
}

kern_return_t mach_timebase_info(mach_timebase_info_data_t* unit) {
  if (Ledger::shared().called("mach_timebase_info")) {
    return kHostFailure;
  }
  *unit = kUnit;
  return KERN_SUCCESS;
}

std::uint64_t mach_absolute_time() {
  const double seconds = Host::shared().machine().statistics.uptimeSeconds.value_or(0);
  return static_cast<std::uint64_t>(seconds * 1e9 * kUnit.denom / kUnit.numer);
}

int statfs(const char* path, struct statfs* information) {
  const bool fails = Ledger::shared().called("statfs", path);
  const auto& recorded = Host::shared().machine().statistics.fileSystem;
  if (fails || !recorded || std::string(path) != "/") {
    return answer(ENOENT);
  }
  const auto total = static_cast<std::uint64_t>(recorded->totalBytes);
  const auto free = static_cast<std::uint64_t>(recorded->freeBytes);
  const bool areBlocks = total % 4096 == 0 && free % 4096 == 0;
  information->f_bsize = areBlocks ? 4096 : 1;
  information->f_blocks = total / information->f_bsize;
  information->f_bavail = free / information->f_bsize;
  return 0;
}
