#include "platforms/recorded/RecordedSMC.h"

namespace kelvora::platform {

using Layout = SMCRecordLayout;

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

KernelStatus RecordedSMC::perform(const Request& request, Reply& reply) {
  const std::uint8_t command = request.command();
  if (command == Layout::kKeyAtIndexCommand) {
    if (request.index() < keys_.size()) {
      reply.setKey(keys_[request.index()].key);
    } else {
      reply.setResult(Layout::kUnknownKeyResult);
    }
    return kKernelSuccess;
  }
  RecordedSMCKey* key = find(request.key());
  if (key == nullptr) {
    reply.setResult(Layout::kUnknownKeyResult);
    return kKernelSuccess;
  }
  switch (command) {
    case Layout::kReadCommand:
      if (key->status != kKernelSuccess) {
        return key->status;
      }
      reply.setResult(key->result);
      reply.setPayload(key->bytes);
      return kKernelSuccess;
    case Layout::kWriteCommand:
      write(*key, request, reply);
      return kKernelSuccess;
    case Layout::kKeyInfoCommand:
      reply.setKeyInfo(static_cast<std::uint32_t>(key->bytes.size()), key->type, key->attributes);
      return kKernelSuccess;
    default:
      return kIOReturnBadArgument;
  }
}

void RecordedSMC::write(RecordedSMCKey& key, const Request& request, Reply& reply) {
  if (request.dataSize() != key.bytes.size() || key.bytes.size() > Layout::kMostPayloadBytes) {
    reply.setResult(Layout::kWrongSizeResult);
    return;
  }
  const auto bytes = request.payload().first(key.bytes.size());
  key.bytes.assign(bytes.begin(), bytes.end());
  writes_.push_back({key.key, key.bytes});
}

RecordedSMCKey* RecordedSMC::find(std::uint32_t key) {
  const auto found = indexByKey_.find(key);
  return found == indexByKey_.end() ? nullptr : &keys_[found->second];
}

}  // namespace kelvora::platform
