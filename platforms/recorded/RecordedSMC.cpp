#include "platforms/recorded/RecordedSMC.h"

namespace kelvora::platform {

RecordedSMC::RecordedSMC(std::optional<std::vector<RecordedSMCKey>> keys)
    : hasService_(keys.has_value()) {
  if (keys) {
    keys_ = std::move(*keys);
  }
  indexByKey_.reserve(keys_.size());
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    indexByKey_.emplace(keys_[i].key, i);
  }
}

std::vector<SMCWrite> RecordedSMC::writes() const {
  const std::lock_guard lock(mutex());
  return writes_;
}

KernelStatus RecordedSMC::perform(const SMCParamRecord& request, SMCParamRecord& reply) {
  const std::uint8_t command = request.command;
  if (command == SMCCommandKeyAtIndex) {
    if (request.data32 < keys_.size()) {
      reply.key = keys_[request.data32].key;
    } else {
      reply.result = SMCResultKeyNotFound;
    }
    return kKernelSuccess;
  }
  RecordedSMCKey* key = find(request.key);
  if (key == nullptr) {
    reply.result = SMCResultKeyNotFound;
    return kKernelSuccess;
  }
  switch (command) {
    case SMCCommandReadBytes:
      if (key->status != kKernelSuccess) {
        return key->status;
      }
      reply.result = key->result;
      setPayload(reply, key->bytes);
      return kKernelSuccess;
    case SMCCommandWriteBytes:
      write(*key, request, reply);
      return kKernelSuccess;
    case SMCCommandGetKeyInfo:
      reply.keyInfo = {
          static_cast<std::uint32_t>(key->bytes.size()), key->type, key->attributes, {}};
      return kKernelSuccess;
    default:
      return kIOReturnBadArgument;
  }
}

void RecordedSMC::write(RecordedSMCKey& key, const SMCParamRecord& request, SMCParamRecord& reply) {
  if (request.keyInfo.dataSize != key.bytes.size() || key.bytes.size() > sizeof request.bytes) {
    reply.result = SMCResultWrongSize;
    return;
  }
  const auto bytes = std::as_bytes(std::span(request.bytes)).first(key.bytes.size());
  key.bytes.assign(bytes.begin(), bytes.end());
  writes_.push_back({key.key, key.bytes});
}

RecordedSMCKey* RecordedSMC::find(std::uint32_t key) {
  const auto found = indexByKey_.find(key);
  return found == indexByKey_.end() ? nullptr : &keys_[found->second];
}

}  // namespace kelvora::platform
