#include "tests/macos/frameworks/IOKit.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "KelvoraCore/SMC.h"

#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

namespace {

constexpr kern_return_t kFailure = kIOReturnError;
constexpr kern_return_t kBadArgument = kIOReturnBadArgument;
constexpr mach_port_t kThisTask = 0x103;

std::string kindName(int kind) {
  constexpr const char* kNames[] = {"iterator", "registry entry", "connection"};
  return kNames[kind];
}

}  // namespace

Kernel& Kernel::shared() {
  static Kernel kernel;
  return kernel;
}

void Kernel::boot(const platform::RecordedMachine& machine) {
  const std::lock_guard lock(mutex_);
  machine_ = machine;
  smcService_.name = "AppleSMC";
  smc_ = std::make_unique<platform::RecordedSMC>(machine.smcKeys);
  objects_.clear();
  connectToSMC();
}

// One connection to the recorded SMC carries the calls of all connections of the program.
void Kernel::connectToSMC() {
  platform::IOObject iterator = 0;
  smc_->matchingServices("AppleSMC", iterator);
  const platform::IOObject service = smc_->nextService(iterator);
  smc_->openService(service, 0, smcConnection_);
}

std::optional<Kernel::Entries> Kernel::servicesOf(const std::string& serviceClass) const {
  if (serviceClass == "AppleSMC") {
    return machine_.smcKeys ? Entries{&smcService_} : Entries{};
  }
  if (!machine_.registry) {
    return std::nullopt;
  }
  Entries entries;
  for (const auto& [listedClass, entry] : *machine_.registry) {
    if (listedClass == serviceClass) {
      entries.push_back(&entry);
    }
  }
  return entries;
}

io_object_t Kernel::add(Kind kind, const std::string& text, Entries entries) {
  Ledger::shared().opened(kindName(static_cast<int>(kind)));
  lastObject_ += 0x101;
  objects_.emplace(lastObject_, Object{kind, text, std::move(entries)});
  return lastObject_;
}

Kernel::Object* Kernel::find(const std::string& function, io_object_t object, Kind kind) {
  const auto found = objects_.find(object);
  if (found == objects_.end()) {
    Ledger::misuse(function, std::to_string(object) + " is no object of the kernel");
    return nullptr;
  }
  if (!found->second.isOpen) {
    Ledger::misuse(function, found->second.text + " is used after its release");
    return nullptr;
  }
  if (found->second.kind != kind) {
    Ledger::misuse(function, found->second.text + " is not of the right kind");
    return nullptr;
  }
  return &found->second;
}

void Kernel::close(Object& object) {
  object.isOpen = false;
  Ledger::shared().closed(kindName(static_cast<int>(object.kind)));
}

kern_return_t Kernel::matchingServices(const std::string& serviceClass, io_iterator_t* iterator) {
  const std::lock_guard lock(mutex_);
  auto services = servicesOf(serviceClass);
  if (!services) {
    return kFailure;
  }
  *iterator = add(Kind::kIterator, "services of " + serviceClass, std::move(*services));
  return KERN_SUCCESS;
}

io_object_t Kernel::next(io_iterator_t iterator) {
  const std::lock_guard lock(mutex_);
  Object* found = find("IOIteratorNext", iterator, Kind::kIterator);
  if (found == nullptr || found->entries.empty()) {
    return IO_OBJECT_NULL;
  }
  const auto* entry = found->entries.front();
  found->entries.erase(found->entries.begin());
  return add(Kind::kEntry, entry->name.empty() ? "an entry" : entry->name, {entry});
}

kern_return_t Kernel::release(io_object_t object) {
  const std::lock_guard lock(mutex_);
  const auto found = objects_.find(object);
  const bool isIterator = found != objects_.end() && found->second.kind == Kind::kIterator;
  Object* known = find("IOObjectRelease", object, isIterator ? Kind::kIterator : Kind::kEntry);
  if (known == nullptr) {
    return kBadArgument;
  }
  close(*known);
  return KERN_SUCCESS;
}

kern_return_t Kernel::open(io_service_t service, io_connect_t* connection) {
  const std::lock_guard lock(mutex_);
  const Object* found = find("IOServiceOpen", service, Kind::kEntry);
  if (found == nullptr || found->entries.front() != &smcService_) {
    return kBadArgument;
  }
  *connection = add(Kind::kConnection, "connection to " + found->text, {});
  return KERN_SUCCESS;
}

kern_return_t Kernel::close(io_connect_t connection) {
  const std::lock_guard lock(mutex_);
  Object* found = find("IOServiceClose", connection, Kind::kConnection);
  if (found == nullptr) {
    return kBadArgument;
  }
  close(*found);
  return KERN_SUCCESS;
}

kern_return_t Kernel::call(io_connect_t connection, std::uint32_t selector,
                           std::span<const std::byte> input, std::span<std::byte> output) {
  const std::lock_guard lock(mutex_);
  if (find("IOConnectCallStructMethod", connection, Kind::kConnection) == nullptr) {
    return kBadArgument;
  }
  return static_cast<kern_return_t>(
      smc_->callStructMethod(smcConnection_, selector, input, output));
}

kern_return_t Kernel::children(io_registry_entry_t entry, io_iterator_t* iterator) {
  const std::lock_guard lock(mutex_);
  const Object* found = find("IORegistryEntryGetChildIterator", entry, Kind::kEntry);
  if (found == nullptr) {
    return kBadArgument;
  }
  Entries children;
  for (const platform::RecordedRegistryEntry& child : found->entries.front()->children) {
    children.push_back(&child);
  }
  *iterator = add(Kind::kIterator, "children of " + found->text, std::move(children));
  return KERN_SUCCESS;
}

const platform::RecordedRegistryEntry* Kernel::entry(const std::string& function,
                                                     io_registry_entry_t entry) {
  const std::lock_guard lock(mutex_);
  const Object* found = find(function, entry, Kind::kEntry);
  return found == nullptr ? nullptr : found->entries.front();
}

std::string Kernel::described(io_object_t object) const {
  const std::lock_guard lock(mutex_);
  const auto found = objects_.find(object);
  return found == objects_.end() ? std::to_string(object) : found->second.text;
}

namespace {

std::string text(io_object_t object) { return Kernel::shared().described(object); }

// A request of 80 bytes as "9 TC0P", "8 #3" or "5 TC0P of 2 bytes", another as its size.
std::string requestText(std::span<const std::byte> request) {
  SMCParamRecord record;
  if (request.size() != sizeof record) {
    return std::to_string(request.size()) + " bytes";
  }
  std::memcpy(&record, request.data(), sizeof record);
  const std::string command = std::to_string(record.command);
  if (record.command == SMCCommandKeyAtIndex) {
    return command + " #" + std::to_string(record.data32);
  }
  char key[5] = {};
  SMCConvertNumberToString(key, record.key);
  const std::string size = record.command == SMCCommandGetKeyInfo
                               ? ""
                               : " of " + std::to_string(record.keyInfo.dataSize) + " bytes";
  return command + " " + key + size;
}

// The class that a dictionary of IOServiceMatching matches.
std::optional<std::string> matchedClass(CFDictionaryRef matching) {
  const auto* dictionary =
      Objects::shared().get<Dictionary>("IOServiceGetMatchingServices", matching);
  const auto* name =
      dictionary == nullptr ? nullptr : dynamic_cast<String*>(dictionary->find("IOProviderClass"));
  return name == nullptr ? std::nullopt : std::optional(name->utf8());
}

}  // namespace

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT(google-build-using-namespace)

mach_port_t mach_task_self() { return kThisTask; }

CFMutableDictionaryRef IOServiceMatching(const char* name) {
  if (Ledger::shared().called("IOServiceMatching", name)) {
    return nullptr;
  }
  const kelvora::PropertyListValue::Dictionary matching{{"IOProviderClass", name}};
  return const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(newObject(matching)));
}

kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
  const bool fails = Ledger::shared().called("IOServiceGetMatchingServices", mainPort,
                                             kelvora::testing::mac::described(matching));
  if (mainPort != MACH_PORT_NULL) {
    Ledger::misuse("IOServiceGetMatchingServices", "the port is not the default main port");
  }
  if (matching == nullptr) {
    return kBadArgument;
  }
  const auto serviceClass = matchedClass(matching);
  Objects::shared().release("IOServiceGetMatchingServices", matching);
  if (fails || !serviceClass) {
    return kFailure;
  }
  return Kernel::shared().matchingServices(*serviceClass, existing);
}

io_object_t IOIteratorNext(io_iterator_t iterator) {
  const bool fails = Ledger::shared().called("IOIteratorNext", text(iterator));
  return fails ? IO_OBJECT_NULL : Kernel::shared().next(iterator);
}

kern_return_t IOObjectRelease(io_object_t object) {
  Ledger::shared().called("IOObjectRelease", text(object));
  return Kernel::shared().release(object);
}

kern_return_t IOServiceOpen(io_service_t service, task_port_t task, uint32_t type,
                            io_connect_t* connection) {
  const bool fails = Ledger::shared().called("IOServiceOpen", text(service), "this task", type);
  if (task != kThisTask) {
    Ledger::misuse("IOServiceOpen", "the task is not the running one");
  }
  return fails ? kFailure : Kernel::shared().open(service, connection);
}

// A connection is gone even if its closing fails.
kern_return_t IOServiceClose(io_connect_t connection) {
  const bool fails = Ledger::shared().called("IOServiceClose", text(connection));
  const kern_return_t status = Kernel::shared().close(connection);
  return fails ? kFailure : status;
}

kern_return_t IOConnectCallStructMethod(mach_port_t connection, uint32_t selector,
                                        const void* input, size_t inputSize, void* output,
                                        size_t* outputSize) {
  const std::span request(static_cast<const std::byte*>(input), inputSize);
  const bool fails = Ledger::shared().called("IOConnectCallStructMethod", text(connection),
                                             selector, requestText(request), *outputSize);
  if (fails) {
    return kFailure;
  }
  return Kernel::shared().call(connection, selector, request,
                               {static_cast<std::byte*>(output), *outputSize});
}

kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name) {
  const bool fails = Ledger::shared().called("IORegistryEntryGetName", text(entry));
  const auto* found = Kernel::shared().entry("IORegistryEntryGetName", entry);
  if (fails || found == nullptr) {
    return kFailure;
  }
  // The kernel's names end where the memory does.
  const std::string kept = found->name.substr(0, sizeof(io_name_t) - 1);
  std::memcpy(name, kept.c_str(), kept.size() + 1);
  return KERN_SUCCESS;
}

kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry,
                                                CFMutableDictionaryRef* properties, CFAllocatorRef,
                                                IOOptionBits options) {
  const bool fails =
      Ledger::shared().called("IORegistryEntryCreateCFProperties", text(entry), options);
  const auto* found = Kernel::shared().entry("IORegistryEntryCreateCFProperties", entry);
  if (fails || found == nullptr) {
    return kFailure;
  }
  *properties = const_cast<CFMutableDictionaryRef>(
      static_cast<CFDictionaryRef>(newObject(found->properties)));
  return KERN_SUCCESS;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef, IOOptionBits options) {
  const auto name = textArgument("IORegistryEntryCreateCFProperty", key);
  const bool fails = Ledger::shared().called("IORegistryEntryCreateCFProperty", text(entry),
                                             name.value_or("null"), options);
  const auto* found = Kernel::shared().entry("IORegistryEntryCreateCFProperty", entry);
  if (fails || found == nullptr || !name) {
    return nullptr;
  }
  const auto property = found->properties.find(*name);
  return property == found->properties.end() ? nullptr : newObject(property->second);
}

kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t entry, const io_name_t plane,
                                              io_iterator_t* iterator) {
  const bool fails = Ledger::shared().called("IORegistryEntryGetChildIterator", text(entry), plane);
  return fails ? kFailure : Kernel::shared().children(entry, iterator);
}
