#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platforms/linux/smc/AppleSMCFiles.h"
#include "tests/support/RawSMC.h"

namespace kelvora::testing {

struct DriverKey {
  std::string name;
  std::string type;
  std::optional<std::string> data;  // none: reading it fails
};

/// Answers as the driver's files do: each describes the key that was chosen last.
class ScriptedFiles : public platform::AppleSMCFiles {
 public:
  explicit ScriptedFiles(std::vector<DriverKey> keys, bool mayChoose = true)
      : AppleSMCFiles(""), keys_(std::move(keys)), mayChoose_(mayChoose) {}
  bool exist() const override { return true; }
  bool mayChooseKeys() const override { return mayChoose_; }
  bool chooseKey(unsigned index) override {
    ++choices;
    if (index >= keys_.size() || !isLocked) {
      return false;
    }
    chosen_ = index;
    return true;
  }
  platform::KernelStatus openForWriting(const std::string& name) override {
    opened.push_back(name);
    return refusal;
  }
  platform::KernelStatus write(const std::string& name, const std::string& content) override {
    written.emplace_back(name, content);
    return refusal;
  }
  void lock() override {
    isLocked = true;
    ++locks;
  }
  void unlock() override { isLocked = false; }
  std::optional<std::string> read(const std::string& name) override {
    if (const auto found = own.find(name); found != own.end()) {
      return found->second;
    }
    if (disturbances > 0 && name == "key_at_index") {
      --disturbances;
      chosen_ = (chosen_ + 1) % static_cast<unsigned>(keys_.size());
    }
    const DriverKey& key = keys_.at(chosen_);
    if (name == "key_count") {
      return std::to_string(keys_.size()) + "\n";
    }
    if (name == "key_at_index") {
      return std::to_string(chosen_) + "\n";
    }
    if (name == "key_at_index_name") {
      return key.name + "\n";
    }
    if (name == "key_at_index_type") {
      return key.type + "\n";
    }
    if (name == "key_at_index_data_length") {
      return std::to_string(key.data.value_or("x").size()) + "\n";
    }
    return name == "key_at_index_data" ? key.data : std::nullopt;
  }

  std::map<std::string, std::string> own;  // files of temperatures and fans
  std::vector<std::string> opened;         // for writing
  std::vector<std::pair<std::string, std::string>> written;
  platform::KernelStatus refusal = 0;
  int disturbances = 0;  // how often another program chooses a key in between
  int choices = 0;
  int locks = 0;
  bool isLocked = false;

 private:
  std::vector<DriverKey> keys_;
  bool mayChoose_;
  unsigned chosen_ = 0;
};

inline const std::vector<DriverKey> kKeys = {{"#KEY", "ui32", std::string("\0\0\0\3", 4)},
                                             {"TC0P", "sp78", "\x25\x20"},
                                             {"BNCM", "ui8", {}}};

/// The files of a Mac with one fan and two temperatures, of which one is negative.
inline std::unique_ptr<ScriptedFiles> filesWithSensors(bool isRoot) {
  auto files = std::make_unique<ScriptedFiles>(kKeys, isRoot);
  files->own = {
      {"fan1_label", "Left side  \n"}, {"fan1_input", "2000\n"},  {"fan1_min", "1200\n"},
      {"fan1_max", "6000\n"},          {"fan1_output", "2001\n"}, {"temp1_label", "TC0P\n"},
      {"temp1_input", "42250\n"},      {"temp2_label", "TB0T\n"}, {"temp2_input", "-1750\n"}};
  return files;
}

/// The first `count` bytes of what was read.
inline std::vector<int> payloadBytes(const RawSMC::Reply& reply, std::size_t count) {
  std::vector<int> bytes;
  for (std::size_t i = 0; i < count; ++i) {
    bytes.push_back(std::to_integer<int>(reply.payload[i]));
  }
  return bytes;
}

}  // namespace kelvora::testing
