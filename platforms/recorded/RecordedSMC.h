#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platforms/recorded/RecordedMachine.h"
#include "platforms/shared/SoftwareSMC.h"

namespace kelvora::platform {

/// A write that a recorded SMC took.
struct SMCWrite {
  std::uint32_t key = 0;         ///< packed
  std::vector<std::byte> bytes;  ///< as many as the key holds
};

/// An SMC with the keys of a recording and the command codes of the real one: 5 read bytes,
/// 6 write bytes, 8 key at index, 9 key info. An unknown key or index gives status 0, result 132
/// and size 0. Of a key that is listed twice the first is read and written. Without a list there is
/// no SMC service. Any thread.
///
/// A write changes the key, and nothing else but this: when a fan's mode ("F0Md"), target ("F0Tg")
/// or limit ("F0Mn", "F0Mx") is written, its actual speed ("F0Ac") becomes what the firmware of a
/// Mac would set (actualFanSpeed).
class RecordedSMC : public SoftwareSMC {
 public:
  explicit RecordedSMC(std::optional<std::vector<RecordedSMCKey>> keys);

  /// How many writes are listed. Of older ones the last of each key stays.
  static constexpr std::size_t kMostWrites = 1000;

  /// The writes taken so far, oldest first.
  std::vector<SMCWrite> writes() const;

 protected:
  bool hasService() const override { return hasService_; }
  KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override;

  // For a derived class, under the lock.

  /// Starts again with the keys of a recording and no writes.
  void reset(std::vector<RecordedSMCKey> keys);
  /// Writes a key; false when there is no such key or it is of another size.
  bool take(const SMCWrite& write);
  const std::vector<SMCWrite>& takenWrites() const { return writes_; }

 private:
  RecordedSMCKey* find(std::uint32_t key);
  bool takeRequest(const SMCParamRecord& request);
  std::optional<float> speedOf(std::uint32_t key);
  void moveFan(std::uint32_t writtenKey);
  void forgetAnOldWrite();

  bool hasService_;
  std::vector<RecordedSMCKey> keys_;
  std::unordered_map<std::uint32_t, std::size_t> indexByKey_;  // the first of each key
  std::vector<SMCWrite> writes_;
  std::map<std::uint32_t, float> recordedSpeeds_;  // of fans that were written to, by "F0"
};

}  // namespace kelvora::platform
