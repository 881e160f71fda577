#pragma once

#include <cstddef>
#include <cstdint>
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
class RecordedSMC : public SoftwareSMC {
 public:
  explicit RecordedSMC(std::optional<std::vector<RecordedSMCKey>> keys);

  /// The writes taken so far, oldest first.
  std::vector<SMCWrite> writes() const;

 protected:
  bool hasService() const override { return hasService_; }
  KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override;

 private:
  RecordedSMCKey* find(std::uint32_t key);
  void write(RecordedSMCKey& key, const SMCParamRecord& request, SMCParamRecord& reply);

  bool hasService_;
  std::vector<RecordedSMCKey> keys_;
  std::unordered_map<std::uint32_t, std::size_t> indexByKey_;  // the first of each key
  std::vector<SMCWrite> writes_;
};

}  // namespace kelvora::platform
