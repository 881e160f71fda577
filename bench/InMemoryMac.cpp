#include "InMemoryMac.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "KelvoraCore/SensorController.h"

#include "platforms/recorded/RecordedPlatform.h"
#include "platforms/recorded/RecordedSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::bench {

namespace {

using testing::smcKey;

constexpr int kSensorsPerPattern = 8;
constexpr std::string_view kCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// Around 40 in the unit of the key's first letter, in types that Macs use for it.
platform::RecordedSMCKey sensorKey(const std::string& key, std::size_t index) {
  const auto low = static_cast<int>(index % 256);
  if (index % 4 == 3) {
    return smcKey(key, "flt ", {0x00, low, 0x20, 0x42});
  }
  switch (key[0]) {
    case 'T':
      return smcKey(key, "sp78", {0x28, low});
    case 'V':
      return smcKey(key, "sp3c", {0x28, low});
    case 'I':
      return smcKey(key, "sp5a", {0x28, low});
    default:
      return smcKey(key, "sp96", {0x28, low});
  }
}

class KeyNames {
 public:
  explicit KeyNames(std::size_t count) : count_(count) {
    addCatalogue();
    addUnknown();
  }
  const std::vector<std::string>& list() const { return list_; }

 private:
  void add(const std::string& key) {
    if (list_.size() < count_ && known_.insert(key).second) {
      list_.push_back(key);
    }
  }

  void addCatalogue() {
    for (const SensorPtr& sensor : SensorController::getDefaultSMCSensors()) {
      if ((sensor->platform & SensorPlatformIntel) == 0) {
        continue;
      }
      const std::size_t percent = sensor->key.find('%');
      if (percent == std::string::npos) {
        add(sensor->key);
        continue;
      }
      for (int index = 0; index < kSensorsPerPattern; ++index) {
        std::string key = sensor->key;
        add(key.replace(percent, 1, std::to_string(index)));
      }
    }
  }

  void addUnknown() {
    for (std::size_t i = 0; list_.size() < count_; ++i) {
      const std::size_t base = kCharacters.size();
      add({"TVIP"[i % 4], kCharacters[i / 4 / base / base % base], kCharacters[i / 4 / base % base],
           kCharacters[i / 4 % base]});
    }
  }

  std::size_t count_;
  std::vector<std::string> list_;
  std::unordered_set<std::string> known_;
};

std::vector<platform::RecordedSMCKey> fanKeys(char fan) {
  const auto key = [fan](const char* suffix) { return std::string("F") + fan + suffix; };
  return {smcKey(key("ID"), "{fds", {'L', 'e', 'f', 't'}), smcKey(key("Ac"), "fpe2", {0x21, 0xc0}),
          smcKey(key("Mn"), "fpe2", {0x1f, 0x40}), smcKey(key("Mx"), "fpe2", {0x60, 0xe0})};
}

std::vector<platform::RecordedSMCKey> smcKeys(std::size_t sensorKeys) {
  std::vector<platform::RecordedSMCKey> keys;
  const std::size_t count = 2 + 2 * fanKeys('0').size() + sensorKeys;
  keys.push_back(testing::keyCount(count));
  keys.push_back(smcKey("FNum", "ui8 ", {2}));
  for (const char fan : {'0', '1'}) {
    for (platform::RecordedSMCKey& key : fanKeys(fan)) {
      keys.push_back(std::move(key));
    }
  }
  const KeyNames names(sensorKeys);
  for (std::size_t i = 0; i < sensorKeys; ++i) {
    keys.push_back(sensorKey(names.list()[i], i));
  }
  return keys;
}

// A recorded SMC that keeps the requests it receives.
class CallRecorder : public platform::RecordedSMC {
 public:
  using RecordedSMC::RecordedSMC;

  platform::KernelStatus callStructMethod(platform::IOObject connection, std::uint32_t selector,
                                          std::span<const std::byte> input,
                                          std::span<std::byte> output) override {
    std::memcpy(&requests.emplace_back(), input.data(), sizeof(SMCParamRecord));
    return RecordedSMC::callStructMethod(connection, selector, input, output);
  }

  std::vector<SMCParamRecord> requests;
};

}  // namespace

std::unique_ptr<Platform> macInMemory(std::size_t sensorKeys) {
  platform::RecordedMachine machine;
  machine.title = "Mac in memory";
  for (const char character : std::string_view("Intel(R) Core(TM) i7\0", 21)) {
    machine.sysctl["machdep.cpu.brand_string"].push_back(static_cast<std::byte>(character));
  }
  machine.smcKeys = smcKeys(sensorKeys);
  return platform::makeRecordedPlatform(std::move(machine));
}

std::vector<SMCParamRecord> callsOfAReading(std::size_t sensorKeys) {
  const std::unique_ptr<Platform> mac = macInMemory(sensorKeys);
  auto recorder = std::make_unique<CallRecorder>(smcKeys(sensorKeys));
  CallRecorder& recorded = *recorder;
  mac->ports().smc = std::move(recorder);
  SensorController controller(*mac);
  controller.getAllSensors();
  recorded.requests.clear();
  controller.getAllSensors();
  return recorded.requests;
}

}  // namespace kelvora::bench
