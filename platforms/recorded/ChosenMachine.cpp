#include "platforms/recorded/ChosenMachine.h"

#include <optional>
#include <utility>

#include "base/HexadecimalText.h"
#include "base/Latin1.h"
#include "base/Log.h"
#include "platforms/recorded/file/MachineFileParts.h"
#include "platforms/shared/TrustedEnvironment.h"

namespace kelvora::platform {

namespace {

// A code of four characters as a machine file has it: each byte is a character up to U+00FF.
std::string textOfKey(std::uint32_t key) {
  std::string text;
  for (const int shift : {24, 16, 8, 0}) {
    appendLatin1(text, static_cast<unsigned char>(key >> shift & 0xff));
  }
  return text;
}

std::optional<std::vector<RecordedSMCKey>> recordedKeys(const JSONPlace& root) {
  std::optional<std::vector<RecordedSMCKey>> keys;
  root.requiredMember("machine", [&](const JSONPlace& machine) {
    machine.member("smc", [&](const JSONPlace& smc) {
      smc.member("keys", [&](const JSONPlace& at) { keys = smcKeysAt(at); });
    });
  });
  return keys;
}

}  // namespace

ChosenMachine::ChosenMachine(std::string file) : RecordedSMC(std::nullopt), file_(std::move(file)) {
  if (hasRaisedRights() || !file_.exists()) {
    return;
  }
  auto keys = recordedKeys(JSONPlace(file_.path(), file_.read()));
  hasService_ = keys.has_value();
  recorded_ = std::move(keys).value_or(std::vector<RecordedSMCKey>());
  load();
}

void ChosenMachine::report(const std::string& fault) {
  if (fault != logged_) {
    log(fault);
    logged_ = fault;
  }
}

void ChosenMachine::load() {
  const JSONPlace root(file_.path(), file_.content());
  if (recordedKeys(root).value_or(std::vector<RecordedSMCKey>()) != recorded_) {
    throw MachineFileError(file_.path(), "", "another machine was chosen");
  }
  reset(recorded_);
  root.requiredMember("writes", [&](const JSONPlace& writes) {
    const auto taken = smcKeysAt(writes);
    auto write = taken.begin();
    writes.eachElement([&](const JSONPlace& place) {
      if (!take({write->key, write->bytes})) {
        place.refuse("is not for a key of this machine");
      }
      ++write;
    });
  });
}

void ChosenMachine::refresh() {
  if (!file_.isCurrent()) {
    try {
      fault_.reset();
      file_.read();
      load();
    } catch (const MachineFileError& error) {
      fault_ = error;
    }
  }
  if (fault_) {
    throw MachineFileError(*fault_);
  }
}

void ChosenMachine::store() {
  nlohmann::json list = nlohmann::json::array();
  for (const SMCWrite& write : takenWrites()) {
    list.push_back({{"key", textOfKey(write.key)}, {"bytes", hexadecimalText(write.bytes)}});
  }
  nlohmann::json content = file_.content();
  content["writes"] = std::move(list);
  file_.write(content);
}

KernelStatus ChosenMachine::write(const SMCParamRecord& request, SMCParamRecord& reply) {
  try {
    const FileDescriptor lock = file_.lock();
    refresh();
    const KernelStatus status = RecordedSMC::perform(request, reply);
    if (status == kKernelSuccess && reply.result == SMCResultSuccess) {
      store();
      logged_.clear();
    }
    return status;
  } catch (const MachineFileError& error) {
    report(error.what());
    return kKernelError;
  }
}

KernelStatus ChosenMachine::perform(const SMCParamRecord& request, SMCParamRecord& reply) {
  try {
    refresh();
  } catch (const MachineFileError& error) {
    report(error.what());
    return kKernelNoDevice;
  }
  return request.command == SMCCommandWriteBytes ? write(request, reply)
                                                 : RecordedSMC::perform(request, reply);
}

}  // namespace kelvora::platform
