#include "tools/smc/FanWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "KelvoraCore/SMC.h"

namespace kelvora::tool {

namespace {

constexpr std::uint32_t kFloatType = SMCPackedKey("flt ");
constexpr std::uint32_t kFixedPointType = SMCPackedKey("fpe2");

bool isSpeed(std::uint32_t type, std::uint32_t size) {
  return (type == kFloatType && size == sizeof(float)) || (type == kFixedPointType && size == 2);
}

// "%.9g" prints any two different floats differently.
std::string text(float number) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%.9g", static_cast<double>(number));
  return digits;
}

void checkMode(const FanWriteRequest& request) {
  if (request.bytes[0] > 1) {
    throw Failure(ExitStatus::kNoMode, request.key + ": a mode is 00 or 01");
  }
}

}  // namespace

void FanWriter::open(const std::string& key) {
  const SMCConnection::Opening opening = connection_.openSilently();
  if (opening.failedCall != nullptr) {
    throw Failure(ExitStatus::kSMCRefused, key + ": the SMC cannot be opened: " +
                                               opening.failedCall + reason(opening.status));
  }
  if (opening.status != platform::kKernelSuccess) {
    throw Failure(ExitStatus::kNoSMC, key + ": there is no SMC");
  }
}

void FanWriter::write(const FanWriteRequest& request) {
  const SMCKeyInfo info = description(request.key);
  if (request.kind == FanKeyKind::kMinimum) {
    checkHasNoMode(request);
  }
  if (info.dataSize != request.bytes.size()) {
    throw Failure(ExitStatus::kWrongSize, request.key + ": the key holds " +
                                              std::to_string(info.dataSize) + " bytes, not " +
                                              std::to_string(request.bytes.size()));
  }
  SMCValueRecord value;
  value.dataSize = info.dataSize;
  SMCConvertNumberToString(value.dataType, info.dataType);
  std::ranges::copy(request.bytes, value.bytes);
  if (request.kind == FanKeyKind::kMode) {
    checkMode(request);
  } else {
    checkSpeed(request, value);
  }
  const platform::KernelStatus status = connection_.writeKey(info.key, value);
  if (smc_.result() == SMCResultKeyNotFound) {
    throw unknownKey(request.key, status);
  }
  if (status != platform::kKernelSuccess) {
    throw Failure(ExitStatus::kWriteFailed,
                  request.key + ": the SMC did not take the value" + reason(status));
  }
}

// Of a mode one byte is expected, of the others a type that is known as a speed's.
SMCKeyInfo FanWriter::description(const std::string& key) {
  SMCKeyInfo info;
  const platform::KernelStatus status = connection_.getKeyInfo(SMCPackedKey(key), info);
  if (info.dataSize == 0) {
    throw unknownKey(key, status);
  }
  const bool isKnown =
      key.ends_with("Md") ? info.dataSize == 1 : isSpeed(info.dataType, info.dataSize);
  if (!isKnown) {
    throw Failure(ExitStatus::kWrongType, key + ": the key holds nothing that can be written");
  }
  return info;
}

Failure FanWriter::unknownKey(const std::string& key, platform::KernelStatus status) const {
  return {ExitStatus::kUnknownKey, key + ": the SMC has no such key" + reason(status)};
}

// The minimum limits the target. If it could be lowered first, a fan with a mode could be stopped.
// The fan has no mode if the SMC says so, not if it fails to answer.
void FanWriter::checkHasNoMode(const FanWriteRequest& request) {
  const std::string key = request.keyOfFan("Md");
  SMCKeyInfo info;
  const platform::KernelStatus status = connection_.getKeyInfo(SMCPackedKey(key), info);
  if (info.dataSize != 0) {
    throw Failure(ExitStatus::kMinimumOfMode,
                  request.key + ": the fan has a mode, so its minimum stays as it is");
  }
  if (status != platform::kKernelSuccess && smc_.result() != SMCResultKeyNotFound) {
    throw Failure(ExitStatus::kUnreadableLimits,
                  request.key + ": the mode " + key + " cannot be read" + reason(status));
  }
}

float FanWriter::limit(const FanWriteRequest& request, const char* suffix) {
  const std::string key = request.keyOfFan(suffix);
  SMCValueRecord value;
  const platform::KernelStatus status = connection_.readKey(SMCPackedKey(key), value);
  const bool isKnown =
      status == platform::kKernelSuccess && isSpeed(SMCPackedKey(value.dataType), value.dataSize);
  const float speed = isKnown ? SMCConvertValueToNumber(value) : NAN;
  if (!std::isfinite(speed) || speed < 0) {
    throw Failure(ExitStatus::kUnreadableLimits,
                  request.key + ": the limit " + key + " cannot be read" + reason(status));
  }
  return speed;
}

void FanWriter::checkSpeed(const FanWriteRequest& request, SMCValueRecord value) {
  const float speed = SMCConvertValueToNumber(value);
  if (!std::isfinite(speed)) {
    throw Failure(ExitStatus::kNotFinite, request.key + ": not a finite number");
  }
  const float least = request.kind == FanKeyKind::kTarget ? limit(request, "Mn") : 0;
  const float most = limit(request, "Mx");
  if (speed < least || speed > most) {
    throw Failure(ExitStatus::kOutOfLimits, request.key + ": " + text(speed) +
                                                " is not within the fan's limits, " + text(least) +
                                                " to " + text(most));
  }
}

// e.g. " (status e00002e2)"; " (result 132)" when the SMC itself refused; empty without a failure.
std::string FanWriter::reason(platform::KernelStatus status) const {
  if (status == platform::kKernelSuccess) {
    return "";
  }
  if (smc_.result() != SMCResultSuccess) {
    return " (result " + std::to_string(smc_.result()) + ")";
  }
  char digits[32];
  std::snprintf(digits, sizeof digits, " (status %08x)", status);
  return digits;
}

}  // namespace kelvora::tool
