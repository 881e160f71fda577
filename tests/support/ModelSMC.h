#pragma once

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/SMC.h"

#include "platforms/recorded/RecordedSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {

/// An SMC whose values follow functions of a time that the test sets. All its keys are of the type
/// "flt ", but for those that it is made with as they are.
class ModelSMC : public platform::RecordedSMC {
 public:
  /// The value of a key at a time in seconds since 1970.
  using Curve = std::function<double(double seconds)>;
  using Curves = std::map<std::string, Curve>;

  explicit ModelSMC(const Curves& curves, std::vector<platform::RecordedSMCKey> others = {})
      : RecordedSMC(keysOf(curves, std::move(others))) {
    for (const auto& [key, curve] : curves) {
      curves_.emplace(SMCPackedKey(key), curve);
    }
  }

  double seconds = 0;

 protected:
  platform::KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override {
    const auto status = RecordedSMC::perform(request, reply);
    const auto curve = curves_.find(request.key);
    if (request.command == SMCCommandReadBytes && curve != curves_.end()) {
      const auto value = static_cast<float>(curve->second(seconds));
      std::memcpy(reply.bytes, &value, sizeof value);
    }
    return status;
  }

 private:
  static std::vector<platform::RecordedSMCKey> keysOf(const Curves& curves,
                                                      std::vector<platform::RecordedSMCKey> keys) {
    for (const auto& [key, curve] : curves) {
      keys.push_back(smcKey(key, "flt ", {0, 0, 0, 0}));
    }
    keys.insert(keys.begin(), keyCount(keys.size() + 1));
    return keys;
  }

  std::map<std::uint32_t, Curve> curves_;
};

}  // namespace kelvora::testing
