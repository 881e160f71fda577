#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <IOKit/IOKitLib.h>

#include "platforms/recorded/RecordedMachine.h"
#include "platforms/recorded/RecordedSMC.h"

namespace kelvora::testing::mac {

/// The kernel behind the doubles of IOKit: the registry and the SMC of a recorded Mac. A number of
/// an object is never given again. Any thread.
class Kernel {
 public:
  static Kernel& shared();

  /// Starts with the hardware of a machine, and without objects.
  void boot(const platform::RecordedMachine& machine);
  /// Without the hardware: a registry whose queries succeed and find nothing.
  void boot() { boot(platform::RecordedMachine{}); }

  // What the functions of IOKit do. Null arguments and objects of the wrong kind fail the test.

  kern_return_t matchingServices(const std::string& serviceClass, io_iterator_t* iterator);
  io_object_t next(io_iterator_t iterator);
  kern_return_t release(io_object_t object);
  kern_return_t open(io_service_t service, io_connect_t* connection);
  kern_return_t close(io_connect_t connection);
  kern_return_t call(io_connect_t connection, std::uint32_t selector,
                     std::span<const std::byte> input, std::span<std::byte> output);
  kern_return_t children(io_registry_entry_t entry, io_iterator_t* iterator);
  /// The entry that the program passed to `function`, or null with a failed test.
  const platform::RecordedRegistryEntry* entry(const std::string& function,
                                               io_registry_entry_t entry);
  /// An object as recorded calls show it, e.g. "GFX0" or "services of AppleSMC".
  std::string described(io_object_t object) const;

 private:
  enum class Kind : std::uint8_t { kIterator, kEntry, kConnection };
  using Entries = std::vector<const platform::RecordedRegistryEntry*>;
  struct Object {
    Kind kind;
    std::string text;
    Entries entries;  // of an iterator those to come; of an entry itself
    bool isOpen = true;
  };

  std::optional<Entries> servicesOf(const std::string& serviceClass) const;
  io_object_t add(Kind kind, const std::string& text, Entries entries);
  Object* find(const std::string& function, io_object_t object, Kind kind);
  void close(Object& object);
  void connectToSMC();

  mutable std::mutex mutex_;
  platform::RecordedMachine machine_;
  platform::RecordedRegistryEntry smcService_;
  std::unique_ptr<platform::RecordedSMC> smc_;
  platform::IOObject smcConnection_ = 0;
  std::map<io_object_t, Object> objects_;
  io_object_t lastObject_ = 0x1000;
};

}  // namespace kelvora::testing::mac
