#include "platforms/linux/smc/LinuxSMC.h"

#include <utility>

#include "base/Log.h"

namespace kelvora::platform {

namespace {

constexpr std::uint32_t kKeyCountName = SMCPackedKey("#KEY");
constexpr std::uint32_t kKeyCountType = SMCPackedKey("ui32");

std::vector<std::byte> bigEndian(std::uint32_t number) {
  std::vector<std::byte> bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::byte>(number >> shift & 0xff));
  }
  return bytes;
}

}  // namespace

LinuxSMC::LinuxSMC(std::unique_ptr<AppleSMCFiles> files) : files_(std::move(files)) {}

bool LinuxSMC::hasService() const { return files_->exist(); }

KernelStatus LinuxSMC::mayOpen() const {
  if (!files_->mayChooseKeys() && !std::exchange(hasSaidWhatIsMissing_, true)) {
    log("applesmc: temperatures and fans only; root also reads voltages, currents and powers");
  }
  return kKernelSuccess;
}

KernelStatus LinuxSMC::perform(const SMCParamRecord& request, SMCParamRecord& reply) {
  const std::uint8_t command = request.command;
  if (!sensors_) {
    listKeys();
  }
  if (command == SMCCommandWriteBytes) {
    return write(request, reply);
  }
  if (command == SMCCommandKeyAtIndex) {
    answerKeyAt(request.data32, reply);
    return kKernelSuccess;
  }
  if (command != SMCCommandReadBytes && command != SMCCommandGetKeyInfo) {
    return kKernelBadArgument;
  }
  const Key* key = keyNamed(request.key);
  if (key == nullptr) {
    reply.result = SMCResultKeyNotFound;
  } else if (command == SMCCommandReadBytes) {
    answerRead(*key, reply);
  } else {
    reply.keyInfo = {key->description.dataSize, key->description.type, 0, {}};
  }
  return kKernelSuccess;
}

void LinuxSMC::listKeys() {
  sensors_.emplace(*files_);
  if (files_->mayChooseKeys()) {
    listEveryKey();
  } else {
    listSensors();
  }
  for (const std::optional<Key>& key : list_) {
    if (key) {
      byName_.emplace(key->description.name, *key);
    }
  }
  // On older Macs the driver has a file for a fan's mode, but the SMC has no such key. It can be
  // read by name but is not in the list, whose length is "#KEY". A user who may not read the SMC's
  // list cannot know whether the mode exists.
  for (const DriverSensors::Key& key : sensors_->keys()) {
    byName_.emplace(key.name, Key{{key.name, key.type, key.dataSize}, std::nullopt});
  }
}

void LinuxSMC::listEveryKey() {
  const std::uint32_t count = driverKeys_.count();
  for (unsigned index = 0; index < count; ++index) {
    const auto description = driverKeys_.keyAt(index);
    list_.push_back(description ? std::optional(Key{*description, index}) : std::nullopt);
  }
}

void LinuxSMC::listSensors() {
  list_.push_back(Key{{kKeyCountName, kKeyCountType, 4}, std::nullopt});
  for (const DriverSensors::Key& key : sensors_->keys()) {
    if (isFanMode(key.name)) {
      continue;
    }
    list_.push_back(Key{{key.name, key.type, key.dataSize}, std::nullopt});
  }
}

const LinuxSMC::Key* LinuxSMC::keyNamed(std::uint32_t name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : &found->second;
}

void LinuxSMC::answerKeyAt(unsigned index, SMCParamRecord& reply) const {
  if (index < list_.size() && list_[index]) {
    reply.key = list_[index]->description.name;
  } else {
    reply.result = SMCResultKeyNotFound;
  }
}

// A key with its own file is read from that file, which no other program can redirect, unlike
// "key_at_index".
std::optional<std::vector<std::byte>> LinuxSMC::payloadOf(const Key& key) {
  if (auto payload = sensors_->payload(key.description.name, key.description.type)) {
    return payload;
  }
  if (key.index) {
    if (const auto data = driverKeys_.dataAt(*key.index)) {
      const auto bytes = std::as_bytes(std::span(*data));
      return std::vector(bytes.begin(), bytes.end());
    }
    return std::nullopt;
  }
  if (key.description.name == kKeyCountName) {
    return bigEndian(static_cast<std::uint32_t>(list_.size()));
  }
  return std::nullopt;
}

void LinuxSMC::answerRead(const Key& key, SMCParamRecord& reply) {
  if (const auto payload = payloadOf(key)) {
    setPayload(reply, *payload);
  } else {
    reply.result = SMCResultNotReadable;
  }
}

KernelStatus LinuxSMC::write(const SMCParamRecord& request, SMCParamRecord& reply) {
  const Key* key = keyNamed(request.key);
  if (key == nullptr || !sensors_->writableFile(request.key)) {
    return kKernelNotPermitted;
  }
  const std::uint32_t size = key->description.dataSize;
  if (request.keyInfo.dataSize != size || size > sizeof request.bytes) {
    reply.result = SMCResultWrongSize;
    return kKernelSuccess;
  }
  return sensors_->write(request.key, key->description.type,
                         std::as_bytes(std::span(request.bytes)).first(size));
}

}  // namespace kelvora::platform
