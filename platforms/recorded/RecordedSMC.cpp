#include "platforms/recorded/RecordedSMC.h"

#include <algorithm>
#include <utility>

#include "platforms/recorded/FanFirmware.h"

namespace kelvora::platform {

namespace {

// A fan's keys: "F", the fan's character, and one of these.
constexpr std::uint32_t kFanOfKey = 0xffff0000;
constexpr std::uint32_t kActual = SMCPackedKey("Ac") >> 16;
constexpr std::uint32_t kMode = SMCPackedKey("Md") >> 16;
constexpr std::uint32_t kTarget = SMCPackedKey("Tg") >> 16;
constexpr std::uint32_t kMinimum = SMCPackedKey("Mn") >> 16;
constexpr std::uint32_t kMaximum = SMCPackedKey("Mx") >> 16;

const std::vector<std::byte> kManual = {std::byte{1}};

bool isFanControl(std::uint32_t key) {
  const std::uint32_t use = key & ~kFanOfKey;
  return key >> 24 == 'F' && (use == kMode || use == kTarget || use == kMinimum || use == kMaximum);
}

}  // namespace

RecordedSMC::RecordedSMC(std::optional<std::vector<RecordedSMCKey>> keys)
    : hasService_(keys.has_value()) {
  reset(std::move(keys).value_or(std::vector<RecordedSMCKey>()));
}

void RecordedSMC::reset(std::vector<RecordedSMCKey> keys) {
  keys_ = std::move(keys);
  writes_.clear();
  recordedSpeeds_.clear();
  indexByKey_.clear();
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
      reply.result = takeRequest(request) ? SMCResultSuccess : SMCResultWrongSize;
      return kKernelSuccess;
    case SMCCommandGetKeyInfo:
      reply.keyInfo = {
          static_cast<std::uint32_t>(key->bytes.size()), key->type, key->attributes, {}};
      return kKernelSuccess;
    default:
      return kKernelBadArgument;
  }
}

bool RecordedSMC::takeRequest(const SMCParamRecord& request) {
  const std::size_t size = request.keyInfo.dataSize;
  if (size > sizeof request.bytes) {
    return false;
  }
  const auto bytes = std::as_bytes(std::span(request.bytes)).first(size);
  return take({request.key, {bytes.begin(), bytes.end()}});
}

bool RecordedSMC::take(const SMCWrite& write) {
  RecordedSMCKey* const key = find(write.key);
  if (key == nullptr || key->bytes.size() != write.bytes.size()) {
    return false;
  }
  key->bytes = write.bytes;
  writes_.push_back(write);
  if (writes_.size() > kMostWrites) {
    forgetAnOldWrite();
  }
  moveFan(write.key);
  return true;
}

// The last write of each key stays, so that the list still leads to what the keys hold.
void RecordedSMC::forgetAnOldWrite() {
  const auto isOverwritten = [this](const SMCWrite& write) {
    return std::ranges::count(writes_, write.key, &SMCWrite::key) > 1;
  };
  const auto old = std::ranges::find_if(writes_, isOverwritten);
  if (old != writes_.end()) {
    writes_.erase(old);
  }
}

std::optional<float> RecordedSMC::speedOf(std::uint32_t key) {
  const RecordedSMCKey* const found = find(key);
  return found == nullptr ? std::nullopt : fanSpeedIn(*found);
}

void RecordedSMC::moveFan(std::uint32_t writtenKey) {
  const std::uint32_t fan = writtenKey & kFanOfKey;
  if (!isFanControl(writtenKey)) {
    return;
  }
  RecordedSMCKey* const actual = find(fan | kActual);
  const auto speed = speedOf(fan | kActual);
  if (!speed) {
    return;
  }
  const float recorded = recordedSpeeds_.emplace(fan, *speed).first->second;
  const RecordedSMCKey* const mode = find(fan | kMode);
  const bool isManual = mode != nullptr && mode->bytes == kManual;
  setFanSpeed(*actual,
              actualFanSpeed(recorded, {isManual, speedOf(fan | kTarget), speedOf(fan | kMinimum),
                                        speedOf(fan | kMaximum)}));
}

RecordedSMCKey* RecordedSMC::find(std::uint32_t key) {
  const auto found = indexByKey_.find(key);
  return found == indexByKey_.end() ? nullptr : &keys_[found->second];
}

}  // namespace kelvora::platform
