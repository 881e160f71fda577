#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "KelvoraCore/SMCRecords.h"

#include "platforms/linux/smc/AppleSMCFiles.h"
#include "ports/IOKitTypes.h"

namespace kelvora::platform {

/// The type of a fan's mode, one byte.
inline constexpr std::uint32_t kByteType = SMCPackedKey("ui8 ");

/// Whether a packed key names the mode of a fan, e.g. "F0Md".
constexpr bool isFanMode(std::uint32_t name) { return (name & 0xffff) == SMCPackedKey("Md") >> 16; }

/// The temperatures and fans that the driver offers in files of their own, as SMC keys: "TC0P" is
/// in the "tempN_input" whose "tempN_label" is this key, "F0Ac", "F0Mn", "F0Mx", "F0Sf" and "F0Tg"
/// are in "fan1_input", "_min", "_max", "_safe" and "_output", "F0Md" is in "fan1_manual", "F0ID"
/// is "fan1_label". "F0Md", "F0Mn" and "F0Tg" can be written.
class DriverSensors {
 public:
  struct Key {
    std::uint32_t name = 0;      ///< packed
    std::uint32_t type = 0;      ///< that the value has unless the SMC says another: "sp78"
    std::uint32_t dataSize = 0;  ///< of that type
  };

  /// Finds the files. `files` must outlive the object.
  explicit DriverSensors(AppleSMCFiles& files);

  /// Every key: "FNum", those of the fans, the temperatures.
  const std::vector<Key>& keys() const { return keys_; }

  /// The value of a key in the form of a type; none if the key has no file, the file cannot be read
  /// or its number has no such form.
  std::optional<std::vector<std::byte>> payload(std::uint32_t name, std::uint32_t type);

  /// The file that would hold a key that can be written, e.g. "fan1_min" for "F0Mn", even if there
  /// is no such fan; none for any other key.
  static std::optional<std::string> writableFile(std::uint32_t name);
  /// Writes a value that has the form of a type, rounded to a whole number: {0x1f, 0x40} of "fpe2"
  /// for "F0Mn" is "2000" in "fan1_min". Returns kKernelNotPermitted for a key that cannot be
  /// written or a driver that refuses this user, kKernelBadArgument for a value that the type or
  /// the driver cannot hold, else what AppleSMCFiles::write returns.
  KernelStatus write(std::uint32_t name, std::uint32_t type, std::span<const std::byte> payload);

 private:
  enum class Content : std::uint8_t { kFanCount, kText, kNumber, kThousandths };
  struct Source {
    std::string file;
    Content content = Content::kNumber;
  };

  void addFans();
  void addFan(int number);
  void addTemperatures();
  void add(const Key& key, Source source);

  AppleSMCFiles& files_;
  std::vector<Key> keys_;
  std::map<std::uint32_t, Source> sources_;
  unsigned fanCount_ = 0;
};

}  // namespace kelvora::platform
