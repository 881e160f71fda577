#include "platforms/linux/smc/LinuxSMC.h"

#include <charconv>
#include <string_view>
#include <utility>

namespace kelvora::platform {

namespace {

std::uint32_t decimal(const std::optional<std::string>& text) {
  std::uint32_t number = 0;
  if (text) {
    std::from_chars(text->data(), text->data() + text->size(), number);
  }
  return number;
}

// The driver prints the characters up to a NUL, then a line end; the missing ones were NUL.
std::uint32_t packed(std::string_view line) {
  if (line.ends_with('\n')) {
    line.remove_suffix(1);
  }
  return SMCPackedKey(line);
}

}  // namespace

LinuxSMC::LinuxSMC(std::unique_ptr<AppleSMCFiles> files) : files_(std::move(files)) {}

bool LinuxSMC::hasService() const { return files_->exist(); }

KernelStatus LinuxSMC::mayOpen() const {
  return files_->mayChooseKeys() ? kKernelSuccess : kIOReturnNotPermitted;
}

KernelStatus LinuxSMC::perform(const SMCParamRecord& request, SMCParamRecord& reply) {
  const std::uint8_t command = request.command;
  if (command == SMCCommandWriteBytes) {
    return kIOReturnNotPermitted;
  }
  if (command == SMCCommandKeyAtIndex) {
    if (const auto key = keyAt(request.data32)) {
      reply.key = *key;
    } else {
      reply.result = SMCResultKeyNotFound;
    }
    return kKernelSuccess;
  }
  if (command != SMCCommandReadBytes && command != SMCCommandGetKeyInfo) {
    return kIOReturnBadArgument;
  }
  const auto found = keys().find(request.key);
  if (found == keys().end()) {
    reply.result = SMCResultKeyNotFound;
  } else if (command == SMCCommandReadBytes) {
    readPayload(found->second, reply);
  } else {
    reply.keyInfo = {found->second.dataSize, found->second.type, 0, {}};
  }
  return kKernelSuccess;
}

const std::map<std::uint32_t, LinuxSMC::Key>& LinuxSMC::keys() {
  if (keys_) {
    return *keys_;
  }
  keys_.emplace();
  const std::uint32_t count = decimal(files_->read("key_count"));
  for (unsigned index = 0; index < count; ++index) {
    const auto key = keyAt(index);
    const auto type = files_->read("key_at_index_type");
    if (!key || !type) {
      continue;
    }
    keys_->emplace(*key,
                   Key{index, packed(*type), decimal(files_->read("key_at_index_data_length"))});
  }
  return *keys_;
}

std::optional<std::uint32_t> LinuxSMC::keyAt(unsigned index) {
  if (!files_->chooseKey(index)) {
    return std::nullopt;
  }
  const auto name = files_->read("key_at_index_name");
  if (!name) {
    return std::nullopt;
  }
  return packed(*name);
}

void LinuxSMC::readPayload(const Key& key, SMCParamRecord& reply) {
  const auto data = files_->chooseKey(key.index) ? files_->read("key_at_index_data") : std::nullopt;
  if (data) {
    setPayload(reply, std::as_bytes(std::span(*data)));
  } else {
    reply.result = SMCResultNotReadable;
  }
}

}  // namespace kelvora::platform
