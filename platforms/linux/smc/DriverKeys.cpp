#include "platforms/linux/smc/DriverKeys.h"

#include <mutex>
#include <string_view>

#include "KelvoraCore/SMCRecords.h"

#include "platforms/linux/system/WholeNumber.h"

namespace kelvora::platform {

namespace {

constexpr int kAttempts = 100;

}  // namespace

std::uint32_t packedLine(std::string_view line) {
  if (line.ends_with('\n')) {
    line.remove_suffix(1);
  }
  return SMCPackedKey(line);
}

template <typename Result, typename Read>
std::optional<Result> DriverKeys::readUndisturbed(unsigned index, Read read) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (!files_.chooseKey(index)) {
      return std::nullopt;
    }
    std::optional<Result> result = read();
    if (numberOf(files_.read("key_at_index")) == index) {
      return result;
    }
  }
  return std::nullopt;
}

std::uint32_t DriverKeys::count() {
  return static_cast<std::uint32_t>(numberOf(files_.read("key_count")));
}

std::optional<DriverKey> DriverKeys::keyAt(unsigned index) {
  const std::lock_guard lock(files_);
  return readUndisturbed<DriverKey>(index, [this]() -> std::optional<DriverKey> {
    const auto name = files_.read("key_at_index_name");
    const auto type = files_.read("key_at_index_type");
    const auto size = files_.read("key_at_index_data_length");
    if (!name || !type || !size) {
      return std::nullopt;
    }
    return DriverKey{packedLine(*name), packedLine(*type),
                     static_cast<std::uint32_t>(numberOf(size))};
  });
}

std::optional<std::string> DriverKeys::dataAt(unsigned index) {
  const std::lock_guard lock(files_);
  return readUndisturbed<std::string>(index, [this] { return files_.read("key_at_index_data"); });
}

// Under one lock: whoever holds it delays the search once, not at each key.
std::optional<bool> DriverKeys::has(std::uint32_t name) {
  const std::lock_guard lock(files_);
  const std::uint32_t keys = count();
  for (unsigned index = 0; index < keys; ++index) {
    const auto line =
        readUndisturbed<std::string>(index, [this] { return files_.read("key_at_index_name"); });
    if (!line || packedLine(*line) == name) {
      return line ? std::optional(true) : std::nullopt;
    }
  }
  return keys > 0 ? std::optional(false) : std::nullopt;
}

}  // namespace kelvora::platform
