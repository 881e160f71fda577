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

class RawReading;
class ReadingRecords;
class SensorController;
struct SMCExchange;

/// Hears of SMC readings that failed.
class KELVORA_EXPORT SMCWrapperDelegate {
 public:
  virtual ~SMCWrapperDelegate() = default;
  /// Called on the thread that reads, before the reading returns. `message` is UTF-8, e.g. "SMC
  /// read (TC0P) failed" or "SMC convert (TC0P) failed: val:hex_ size-8".
  virtual void smcReadValueFailedWithError(const std::string& message);
};

/// Reads the SMC's sensors and fans as records, and has the privileged tool write to it.
///
/// A wrapper opens the process's one SMC connection, always that of the current platform, and
/// closes it with its own end: have one wrapper per process. An SMC that cannot be opened makes
/// reads fail. Keys are UTF-8; only their first four characters count. No lock is held: one thread
/// at a time.
class KELVORA_EXPORT SMCWrapper {
 public:
  SMCWrapper();
  /// On the files and child processes of `platform`, which outlives the wrapper.
  explicit SMCWrapper(Platform& platform);
  ~SMCWrapper();
  SMCWrapper(const SMCWrapper&) = delete;
  SMCWrapper& operator=(const SMCWrapper&) = delete;

  /// Who hears of failures; null when nobody was set or the delegate is gone.
  std::shared_ptr<SMCWrapperDelegate> delegate() const;
  /// Held weakly. An object that no shared pointer owns can keep a shared token of its own and pass
  /// `std::shared_ptr<SMCWrapperDelegate>(token, this)`: with its token it is forgotten.
  void setDelegate(std::weak_ptr<SMCWrapperDelegate> delegate);

  /// The sensor keys as far as they are known: empty before the first enumeration.
  const std::vector<std::string>& cachedAllSensorKeys() const;
  /// Replaces them. With an empty list the next use enumerates again. A reading that is under way,
  /// whose failure a delegate may hear of, ends with the keys it began with.
  void setCachedAllSensorKeys(std::vector<std::string> keys);

  /// The keys that begin with T, V, P or I and whose values can be converted, in the SMC's order.
  /// Reads every key of the SMC the first time, and again while none was found; nothing is
  /// reported. The list stays as it is, and where it is, while the wrapper lives or until it is
  /// replaced.
  const std::vector<std::string>& getAllSensorKeys();

  /// A reading: fans first (key "0", "1", …), then the sensor keys in order, each with its key as
  /// name. Values are not judged; whatever cannot be read is left out and reported, but a fan is
  /// always listed. The records of one reading share their memory: it is let go with the last of
  /// them, and then serves a later reading.
  SensorList getAllSensors();

  /// For a fan (type 1) the speed of the fan whose index the key's leading decimal number is, 0
  /// when it cannot be read; for any other type `rawValueByKey(key)`.
  std::optional<double> getSensorValueByKey(std::string_view key, std::uint64_t type);

  /// As the SMC reports it ("FNum"), even when that is more than the twenty fans that can be named;
  /// 0 when it cannot be read.
  std::int64_t numberOfFans();

  // Fans have the indices 0 to 19; any other reads nothing. Speeds are in revolutions per minute, 0
  // when they cannot be read, which is reported.

  double speedOfFan(std::int64_t fanIndex);
  double safeMinimumSpeedOfFan(std::int64_t fanIndex);
  double safeMaximumSpeedOfFan(std::int64_t fanIndex);
  /// The SMC's name of a fan without blanks ("Leftside"), or "Fan 1" for an unnamed fan 0.
  std::string descriptionOfFan(std::int64_t fanIndex);

  /// A key's value by its type; none, reported, when it cannot be read or converted. A reading of
  /// exactly -1 counts as one that cannot be converted. Not-a-number and infinity are values.
  std::optional<double> rawValueByKey(std::string_view key);

  /// A key's payload as text without blanks and control characters, each byte from 128 on as the
  /// character of that code; may be empty. None, reported, when it cannot be read or has no bytes.
  std::optional<std::string> rawStringValueByKey(std::string_view key);

  /// Has the privileged tool write the bytes of a hexadecimal text, e.g. ("0fa0", "F0Tg"), and
  /// waits for it: not on a thread that must stay responsive. True when the tool ended with status
  /// 0; false also when it is not installed or does not start. Nothing is reported.
  bool setExternalValue(std::string_view value, std::string_view key);

  /// Passes a message to the delegate, if there is one.
  void handleFailedWithErrMsg(const std::string& message);

 private:
  friend SensorController;
  struct SensorKeys;

  void enumerateSensorKeys();
  void read(RawReading& reading);
  void readFan(std::int64_t fanIndex, RawReading& reading);
  void readSensorKeys(RawReading& reading);
  std::optional<double> readNumber(std::uint32_t packedKey, std::string_view keyText);
  std::optional<double> readNumber(std::uint32_t packedKey, std::string_view keyText,
                                   SMCExchange& exchange);
  std::optional<std::string> readText(std::uint32_t packedKey, std::string_view keyText);
  double fanValue(std::int64_t fanIndex, const char (&suffix)[3]);
  void reportFailedRead(std::string_view keyText);

  Platform& platform_;
  std::weak_ptr<SMCWrapperDelegate> delegate_;
  std::shared_ptr<const SensorKeys> sensorKeys_;
  std::unique_ptr<ReadingRecords> records_;
};

}  // namespace kelvora
