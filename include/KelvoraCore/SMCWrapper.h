#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora {

class Platform;
class SMCConnection;
struct SMCValueRecord;

/// Receives the failures of an SMCWrapper. Its operations do nothing by default.
class KELVORA_EXPORT SMCWrapperDelegate {
 public:
  virtual ~SMCWrapperDelegate() = default;
  /// Called on the thread that reads, before the reading returns. `message` is UTF-8, e.g. "SMC
  /// read (TC0P) failed" or "SMC convert (TC0P) failed: val:hex_ size-8".
  virtual void smcReadValueFailedWithError(const std::string& message);
};

/// Reads the sensors and fans of an SMC as records, and has the privileged tool write to it.
///
/// A wrapper opens an SMC connection when it is created and closes it at its end. On the current
/// platform this is the one connection of the process, which SMC.h uses too: have one such wrapper
/// per process. On any other platform the wrapper has a connection of its own. When the SMC cannot
/// be opened, the reads fail. Keys are UTF-8; only their first four characters count. A wrapper has
/// no lock: one thread at a time.
class KELVORA_EXPORT SMCWrapper {
 public:
  /// A wrapper on the current platform.
  SMCWrapper();
  /// A wrapper on the SMC, files and child processes of `platform`, which must outlive it.
  explicit SMCWrapper(Platform& platform);
  ~SMCWrapper();
  SMCWrapper(const SMCWrapper&) = delete;
  SMCWrapper& operator=(const SMCWrapper&) = delete;

  /// Who receives failures; null when none was set or the delegate no longer exists.
  std::shared_ptr<SMCWrapperDelegate> delegate() const;
  /// Held weakly. An object that no shared pointer owns can keep a shared token and pass
  /// `std::shared_ptr<SMCWrapperDelegate>(token, this)`: the delegate ends with the token.
  void setDelegate(std::weak_ptr<SMCWrapperDelegate> delegate);

  /// The sensor keys found so far; empty before the first enumeration. The reference is valid until
  /// the list is replaced or the wrapper ends.
  const std::vector<std::string>& cachedAllSensorKeys() const;
  /// Replaces them. With an empty list the next use enumerates again. A delegate may call this
  /// during a reading, which still uses the keys it started with.
  void setCachedAllSensorKeys(std::vector<std::string> keys);

  /// The keys that begin with T, V, P or I and whose values can be converted, in the SMC's order,
  /// e.g. {"TC0P", "VC0C"}. The first call reads every key of the SMC; so does each later call
  /// until one key was found. Failures are not reported. The reference is valid as above.
  const std::vector<std::string>& getAllSensorKeys();

  /// A reading: fans first (key "0", "1", …), then the sensor keys in order, each with its key as
  /// name. The caller owns the records. Values are not judged. A key that cannot be read or
  /// converted is left out and reported; a fan is always listed.
  SensorList getAllSensors();

  /// For a fan (type 1), `key` begins with the fan's index in decimal: its speed, 0 when it cannot
  /// be read. For any other type `rawValueByKey(key)`.
  std::optional<double> getSensorValueByKey(std::string_view key, std::uint64_t type);

  /// As the SMC reports it ("FNum"), even when that is more than the twenty fans that can be named;
  /// 0 when it cannot be read, which is reported.
  std::int64_t numberOfFans();

  // Fans have the indices 0 to 19; any other index reads nothing. Speeds are in revolutions per
  // minute, e.g. 1836.5; 0 when they cannot be read, which is reported.

  double speedOfFan(std::int64_t fanIndex);
  double safeMinimumSpeedOfFan(std::int64_t fanIndex);
  double safeMaximumSpeedOfFan(std::int64_t fanIndex);
  /// The SMC's name of a fan without blanks ("Leftside"), or "Fan 1" for fan 0 without a name.
  std::string descriptionOfFan(std::int64_t fanIndex);

  /// A key's value by its type, e.g. 41.5 for "TC0P". Returns none, and reports it, when the key
  /// cannot be read or converted. A reading of exactly -1 counts as one that cannot be converted.
  /// Not-a-number and infinity are values.
  std::optional<double> rawValueByKey(std::string_view key);

  /// A key's payload as UTF-8 text without blanks and control characters, each byte from 128 on as
  /// the character of that code; may be empty. Returns none, and reports it, when the key cannot be
  /// read or has no bytes.
  std::optional<std::string> rawStringValueByKey(std::string_view key);

  /// Has the privileged tool write the bytes of a hexadecimal text, e.g. ("0fa0", "F0Tg"), and
  /// blocks until it exits. True when it exited with status 0; false also when it is not installed
  /// or cannot be started. In a process that ignores SIGCHLD the system keeps no status: then true
  /// when the key holds these bytes afterwards. Nothing is reported.
  bool setExternalValue(std::string_view value, std::string_view key);

  /// Passes a message to the delegate, if there is one.
  void handleFailedWithErrMsg(const std::string& message);

 private:
  std::vector<std::string> enumeratedSensorKeys();
  SensorPtr fan(std::int64_t fanIndex);
  double fanValue(std::int64_t fanIndex, std::string_view suffix);
  bool read(std::string_view key, SMCValueRecord& value);
  void reportFailedRead(std::string_view key);

  Platform& platform_;
  std::shared_ptr<SMCConnection> connection_;
  std::weak_ptr<SMCWrapperDelegate> delegate_;
  std::shared_ptr<const std::vector<std::string>> sensorKeys_;
};

}  // namespace kelvora
