#include "fans/LeaseRecord.h"

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVUtils.h"

#include "base/PropertyListFile.h"
#include "base/UTF8Text.h"
#include "hardware/FanKeys.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

using Json = nlohmann::json;

// What `Files::replace` adds to the name of a file while it writes.
constexpr char kOfWriter[] = ".new";

// A lease has a few hundred bytes; its path may contain any file.
constexpr std::size_t kMostBytes = 65'536;

template <typename Value>
const Value* member(const PropertyListValue::Dictionary& values, const char* key) {
  const auto found = values.find(key);
  return found == values.end() ? nullptr : found->second.as<Value>();
}

// The one write that gives this fan back; a file may hold anything. None of a fan without a name.
bool isHandBack(std::int64_t fan, const FanWrite& write) {
  return (write.key == fanKey(fan, "Md") && write.value == "00") ||
         (write.key == fanKey(fan, "Mn") && !write.value.empty() &&
          write.value.find_first_not_of("0123456789abcdef") == std::string::npos);
}

LeasedFan leasedFan(const Json& json) {
  const auto fan = json.at("fan").get<std::int64_t>();
  const FanWrite handBack{json.at("key"), json.at("value")};
  if (!isHandBack(fan, handBack)) {
    throw std::out_of_range("no such hand-back");
  }
  return {static_cast<std::uint64_t>(fan), handBack};
}

LeaseRequest leaseRequest(const Json& json) {
  LeaseRequest request;
  request.program = json.at("program");
  request.processIdentifier = json.at("process");
  request.machine = json.value("machine", "");
  const auto timeout = json.at("timeout").get<std::int64_t>();
  for (const Json& fan : json.at("fans")) {
    request.fans.push_back(leasedFan(fan));
  }
  if (timeout <= 0 || timeout > kLongestTimeout.count() || request.fans.empty()) {
    throw std::out_of_range("no such lease");
  }
  request.timeout = std::chrono::milliseconds(timeout);
  return request;
}

std::optional<LeaseRecord> recordIn(const PropertyListValue& value) {
  const auto* const values = value.as<PropertyListValue::Dictionary>();
  if (values == nullptr) {
    return std::nullopt;
  }
  const auto* const program = member<std::string>(*values, "program");
  const auto* const process = member<std::int64_t>(*values, "process");
  const auto* const since = member<PropertyListValue::Date>(*values, "since");
  const auto* const fan = member<std::int64_t>(*values, "fan");
  const auto* const key = member<std::string>(*values, "key");
  const auto* const bytes = member<std::string>(*values, "value");
  if (program == nullptr || process == nullptr || since == nullptr || fan == nullptr ||
      key == nullptr || bytes == nullptr || !isHandBack(*fan, {*key, *bytes})) {
    return std::nullopt;
  }
  const auto* const fault = member<std::string>(*values, "fault");
  const auto* const machine = member<std::string>(*values, "machine");
  const auto* const guardian = member<std::int64_t>(*values, "guardian");
  return LeaseRecord{*program,
                     *process,
                     *since,
                     {static_cast<std::uint64_t>(*fan), {*key, *bytes}},
                     fault == nullptr ? "" : *fault,
                     machine == nullptr ? "" : *machine,
                     guardian == nullptr ? 0 : *guardian};
}

std::optional<std::string> leasePath(Platform& platform, std::uint64_t fan) {
  const auto folder = KVUtils::groupContainerLocation(platform);
  return folder ? std::optional(*folder + "/" + leaseName(fan) + ".plist") : std::nullopt;
}

}  // namespace

std::string lineOf(const LeaseRequest& request) {
  Json fans = Json::array();
  for (const LeasedFan& fan : request.fans) {
    fans.push_back({{"fan", fan.fan}, {"key", fan.handBack.key}, {"value", fan.handBack.value}});
  }
  return Json{{"program", validUTF8(request.program)},
              {"process", request.processIdentifier},
              {"timeout", request.timeout.count()},
              {"fans", fans},
              {"machine", validUTF8(request.machine)}}
      .dump();
}

std::optional<LeaseRequest> leaseRequestIn(std::string_view line) {
  try {
    return leaseRequest(Json::parse(line));
  } catch (const std::exception&) {  // of the parser, of a member's kind, or out of range
    return std::nullopt;
  }
}

std::string leaseName(std::uint64_t fan) { return "Fan" + std::to_string(fan); }

std::string holderLockName(std::uint64_t fan) { return leaseName(fan) + ".holder"; }

bool hasLeaseFiles(Platform& platform, std::uint64_t fan) {
  const auto path = leasePath(platform, fan);
  return path && (platform.files().exists(*path) || platform.files().exists(*path + kOfWriter));
}

LeaseReading readLease(Platform& platform, std::uint64_t fan) {
  const auto path = leasePath(platform, fan);
  if (!path || !platform.files().exists(*path)) {
    return {};
  }
  const PropertyListReading reading = readPropertyListFile(*path, kMostBytes);
  LeaseReading result{true, reading.value ? recordIn(*reading.value) : std::nullopt, ""};
  if (!result.record || result.record->fan.fan != fan) {
    result.record.reset();
    result.fault = *path + ": " + (reading.value ? "is not the lease of a fan" : reading.failure);
  }
  return result;
}

std::string nameOfHolder(const LeaseReading& reading) {
  return reading.record ? reading.record->program + " (process " +
                              std::to_string(reading.record->processIdentifier) + ")"
                        : "another program";
}

std::string writeLease(Platform& platform, const LeaseRecord& record) {
  const auto path = leasePath(platform, record.fan.fan);
  if (!path) {
    return "the programs have no folder in common";
  }
  const PropertyListValue::Dictionary values = {
      {"program", record.program},      {"process", record.processIdentifier},
      {"since", record.since},          {"fan", static_cast<std::int64_t>(record.fan.fan)},
      {"key", record.fan.handBack.key}, {"value", record.fan.handBack.value},
      {"fault", record.fault},          {"machine", record.machine},
      {"guardian", record.guardian}};
  const auto bytes = serializePropertyList(values, PropertyListFormat::kXML);
  std::error_code error;
  return platform.files().replace(*path, bytes, error)
             ? ""
             : *path + ": it cannot be written: " + error.message();
}

std::string removeLease(Platform& platform, std::uint64_t fan) {
  const auto path = leasePath(platform, fan);
  if (!path) {
    return "";
  }
  for (const std::string& file : {*path, *path + kOfWriter}) {
    // A folder is not of a lease, and what is in it is somebody's.
    const bool isLeft = platform.files().exists(file) && !platform.files().list(file);
    if (isLeft && !platform.files().remove(file)) {
      return file + ": cannot be removed";
    }
  }
  return "";
}

}  // namespace kelvora
