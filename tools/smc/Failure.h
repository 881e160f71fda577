#pragma once

#include <exception>
#include <string>
#include <utility>

namespace kelvora::tool {

/// The exit status of the tool. Other programs know these numbers: never renumber.
enum class ExitStatus : int {
  kWritten = 0,
  kUsage = 64,             ///< the arguments are not "-k KEY -w HEX"
  kKeyRefused = 65,        ///< not a key of a fan that may be written
  kMalformedValue = 66,    ///< not whole bytes in hexadecimal
  kWrongSize = 67,         ///< not as many bytes as the key holds
  kWrongType = 68,         ///< the key holds no number that the tool knows
  kNoMode = 69,            ///< a mode other than 00 and 01
  kNotFinite = 70,         ///< a speed that is no finite number
  kOutOfLimits = 71,       ///< a speed outside the fan's limits
  kUnknownState = 72,      ///< the process could not be brought into a known state
  kNoSMC = 73,             ///< there is no SMC
  kSMCRefused = 74,        ///< the SMC, or what the key needs, could not be opened
  kRightsKept = 75,        ///< the rights could not be dropped
  kUnknownKey = 76,        ///< the SMC has no such key, or does not describe it
  kUnreadableLimits = 77,  ///< the fan's limits, or whether it has a mode, could not be read
  kWriteFailed = 78,       ///< the SMC did not take the value
  kOutOfMemory = 79,
  kMinimumOfMode = 80,  ///< the minimum of a fan that has a mode
};

/// Why nothing was written.
class Failure : public std::exception {
 public:
  /// `text` is one line that names the key, e.g. "F0Tg: 9000 rpm is above the fan's maximum, 6000".
  Failure(ExitStatus status, std::string text) : status_(status), text_(std::move(text)) {}

  ExitStatus status() const { return status_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  ExitStatus status_;
  std::string text_;
};

}  // namespace kelvora::tool
