#include "platform/recorded/RecordedSMC.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <string_view>

namespace kelvora::platform {

namespace {

constexpr std::size_t kRecordBytes = 80;
constexpr std::size_t kMostPayloadBytes = 32;
constexpr std::uint32_t kSelector = 2;

// Offsets in the 80-byte record.
constexpr std::size_t kKeyAt = 0;
constexpr std::size_t kDataSizeAt = 28;
constexpr std::size_t kDataTypeAt = 32;
constexpr std::size_t kAttributesAt = 36;
constexpr std::size_t kResultAt = 40;
constexpr std::size_t kCommandAt = 42;
constexpr std::size_t kIndexAt = 44;
constexpr std::size_t kBytesAt = 48;

enum Command : std::uint8_t { kRead = 5, kWrite = 6, kKeyAtIndex = 8, kKeyInfo = 9 };

constexpr std::uint8_t kResultUnknownKey = 132;
constexpr std::uint8_t kResultWrongSize = 135;

std::uint32_t numberAt(std::span<const std::byte> record, std::size_t offset) {
  std::uint32_t number = 0;
  std::memcpy(&number, record.data() + offset, sizeof number);
  return number;
}

void putNumber(std::span<std::byte> record, std::size_t offset, std::uint32_t number) {
  std::memcpy(record.data() + offset, &number, sizeof number);
}

void putByte(std::span<std::byte> record, std::size_t offset, std::uint8_t value) {
  record[offset] = static_cast<std::byte>(value);
}

enum class ObjectKind : std::uint8_t { kEmptyIterator, kIterator, kService, kConnection };

}  // namespace

struct RecordedSMC::State {
  using Input = std::span<const std::byte>;
  using Output = std::span<std::byte>;

  std::mutex mutex;
  bool hasService = false;
  std::vector<RecordedSMCKey> keys;
  std::vector<std::pair<std::uint32_t, std::size_t>> indexByKey;  // sorted
  std::vector<std::pair<IOObject, ObjectKind>> objects;
  IOObject lastObject = 0;
  std::vector<SMCWrite> writes;

  explicit State(std::optional<std::vector<RecordedSMCKey>> recorded);

  IOObject newObject(ObjectKind kind);
  bool dispose(IOObject object, ObjectKind kind);
  bool holds(IOObject object, ObjectKind kind) const;

  RecordedSMCKey* find(std::uint32_t key);
  KernelStatus perform(Input input, Output output);
  KernelStatus read(const RecordedSMCKey& key, Output output) const;
  void write(RecordedSMCKey& key, Input input, Output output);
  void keyAtIndex(std::uint32_t index, Output output) const;
};

RecordedSMC::State::State(std::optional<std::vector<RecordedSMCKey>> recorded)
    : hasService(recorded.has_value()) {
  if (recorded) keys = std::move(*recorded);
  indexByKey.reserve(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) indexByKey.emplace_back(keys[i].key, i);
  // By key, then by index: of a key that is listed twice, the first is found.
  std::sort(indexByKey.begin(), indexByKey.end());
}

IOObject RecordedSMC::State::newObject(ObjectKind kind) {
  objects.emplace_back(++lastObject, kind);
  return lastObject;
}

bool RecordedSMC::State::dispose(IOObject object, ObjectKind kind) {
  return std::erase(objects, std::pair(object, kind)) > 0;
}

bool RecordedSMC::State::holds(IOObject object, ObjectKind kind) const {
  return std::find(objects.begin(), objects.end(), std::pair(object, kind)) != objects.end();
}

RecordedSMCKey* RecordedSMC::State::find(std::uint32_t key) {
  const auto found =
      std::lower_bound(indexByKey.begin(), indexByKey.end(), std::pair(key, std::size_t{0}));
  if (found == indexByKey.end() || found->first != key) return nullptr;
  return &keys[found->second];
}

KernelStatus RecordedSMC::State::perform(Input input, Output output) {
  const auto command = static_cast<std::uint8_t>(input[kCommandAt]);
  if (command == kKeyAtIndex) {
    keyAtIndex(numberAt(input, kIndexAt), output);
    return kKernelSuccess;
  }
  if (command != kRead && command != kWrite && command != kKeyInfo) return kIOReturnBadArgument;
  RecordedSMCKey* key = find(numberAt(input, kKeyAt));
  if (key == nullptr) {
    putByte(output, kResultAt, kResultUnknownKey);
    return kKernelSuccess;
  }
  if (command == kRead) return read(*key, output);
  if (command == kWrite) {
    write(*key, input, output);
  } else {
    putNumber(output, kDataSizeAt, static_cast<std::uint32_t>(key->bytes.size()));
    putNumber(output, kDataTypeAt, key->type);
    putByte(output, kAttributesAt, key->attributes);
  }
  return kKernelSuccess;
}

KernelStatus RecordedSMC::State::read(const RecordedSMCKey& key, Output output) const {
  if (key.status != kKernelSuccess) return key.status;
  putByte(output, kResultAt, key.result);
  std::copy(key.bytes.begin(), key.bytes.end(), output.begin() + kBytesAt);
  return kKernelSuccess;
}

void RecordedSMC::State::write(RecordedSMCKey& key, Input input, Output output) {
  if (numberAt(input, kDataSizeAt) != key.bytes.size()) {
    putByte(output, kResultAt, kResultWrongSize);
    return;
  }
  const Input bytes = input.subspan(kBytesAt, key.bytes.size());
  std::copy(bytes.begin(), bytes.end(), key.bytes.begin());
  writes.push_back({key.key, key.bytes});
}

void RecordedSMC::State::keyAtIndex(std::uint32_t index, Output output) const {
  if (index >= keys.size()) {
    putByte(output, kResultAt, kResultUnknownKey);
    return;
  }
  putNumber(output, kKeyAt, keys[index].key);
}

RecordedSMC::RecordedSMC(std::optional<std::vector<RecordedSMCKey>> keys)
    : state_(std::make_unique<State>(std::move(keys))) {
  for (RecordedSMCKey& key : state_->keys) {
    if (key.bytes.size() > kMostPayloadBytes) key.bytes.resize(kMostPayloadBytes);
  }
}

RecordedSMC::~RecordedSMC() = default;

KernelStatus RecordedSMC::matchingServices(const char* serviceClass, IOObject& iterator) {
  const std::lock_guard lock(state_->mutex);
  const bool matches = state_->hasService && std::string_view(serviceClass) == "AppleSMC";
  iterator = state_->newObject(matches ? ObjectKind::kIterator : ObjectKind::kEmptyIterator);
  return kKernelSuccess;
}

IOObject RecordedSMC::nextService(IOObject iterator) {
  const std::lock_guard lock(state_->mutex);
  if (!state_->dispose(iterator, ObjectKind::kIterator)) return 0;
  state_->objects.emplace_back(iterator, ObjectKind::kEmptyIterator);
  return state_->newObject(ObjectKind::kService);
}

void RecordedSMC::release(IOObject object) {
  const std::lock_guard lock(state_->mutex);
  for (const auto kind :
       {ObjectKind::kEmptyIterator, ObjectKind::kIterator, ObjectKind::kService}) {
    if (state_->dispose(object, kind)) return;
  }
}

KernelStatus RecordedSMC::openService(IOObject service, std::uint32_t, IOObject& connection) {
  const std::lock_guard lock(state_->mutex);
  if (!state_->holds(service, ObjectKind::kService)) return kIOReturnBadArgument;
  connection = state_->newObject(ObjectKind::kConnection);
  return kKernelSuccess;
}

KernelStatus RecordedSMC::closeService(IOObject connection) {
  const std::lock_guard lock(state_->mutex);
  return state_->dispose(connection, ObjectKind::kConnection) ? kKernelSuccess : kIOReturnNotOpen;
}

KernelStatus RecordedSMC::callStructMethod(IOObject connection, std::uint32_t selector,
                                           std::span<const std::byte> input,
                                           std::span<std::byte> output) {
  const std::lock_guard lock(state_->mutex);
  if (!state_->holds(connection, ObjectKind::kConnection)) return kIOReturnNotOpen;
  if (selector != kSelector || input.size() != kRecordBytes || output.size() != kRecordBytes) {
    return kIOReturnBadArgument;
  }
  // Input and output may be the same record.
  std::array<std::byte, kRecordBytes> request;
  std::copy(input.begin(), input.end(), request.begin());
  std::fill(output.begin(), output.end(), std::byte{0});
  return state_->perform(request, output);
}

std::vector<SMCWrite> RecordedSMC::writes() const {
  const std::lock_guard lock(state_->mutex);
  return state_->writes;
}

}  // namespace kelvora::platform
