#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// The domain of every error that the library creates.
inline constexpr char KVErrorDomain[] = "com.kelvora.KelvoraCore.ErrorDomain";

/// The one entry of an error's user information.
inline constexpr char KVLocalizedDescriptionKey[] = "NSLocalizedDescription";

/// Codes of the library's errors; each has a message of its own.
enum KVErrorCode : std::int64_t {
  KVErrorGeneral = 0,                ///< every other failure, e.g. "An error occurred."
  KVErrorCannotAddFanCondition = 1,  ///< e.g. its fan set was removed
  KVErrorInvalidSensorKey = 2,
  KVErrorDuplicatedSensor = 3,
  KVErrorCannotRemoveDefaultSensor = 4,  ///< only sensors that a user has added can be removed
  KVErrorInvalidInput = 5,
};

/// An error with a message for the user. A plain value.
struct KELVORA_EXPORT KVError {
  std::string domain;
  std::int64_t code = 0;
  std::map<std::string, std::string> userInfo;

  /// The message for the user, e.g. "The sensor key is not valid."; empty when `userInfo` has none.
  std::string localizedDescription() const;

  /// An error with the given message; with none, the general message in the current language.
  static KVError errorWithCode(std::int64_t code, std::optional<std::string> message,
                               KVSettings& settings = KVSettings::shared(),
                               Platform& platform = Platform::current());

  /// An error with the message of a `KVErrorCode` in the current language; any other code has the
  /// general message. If the host has no table for the language, the message is its key.
  static KVError errorWithCode(std::int64_t code, KVSettings& settings = KVSettings::shared(),
                               Platform& platform = Platform::current());
};

}  // namespace kelvora
