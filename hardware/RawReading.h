#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// A sensor of a reading before it has a record of its own.
struct RawSensor {
  const std::string* key;
  const Sensor* prototype;  ///< all the rest; with an empty name the sensor goes by its key
  double value;             ///< in the unit of the prototype's type

  /// Makes `record` this sensor. What it held is overwritten, with its texts' memory used again.
  void copyTo(Sensor& record) const;
  /// The same under other names, which may be the record's own.
  void copyTo(Sensor& record, const std::string& name, const std::string& fullName) const;
};

/// The sensors of a reading in the order in which they were read. A host's record of a sensor takes
/// three lines of a processor's cache, one of these less than half a line: a reading is put in
/// order with these, and its records are written once. Not copied, as its sensors point into it.
class RawReading {
 public:
  RawReading() = default;
  RawReading(const RawReading&) = delete;
  RawReading& operator=(const RawReading&) = delete;

  /// Adds a sensor whose key and prototype outlive the reading or belong to what it keeps.
  void add(const RawSensor& sensor) { sensors_.push_back(sensor); }
  /// Adds a sensor that is told of nowhere else.
  void add(Sensor sensor);
  /// Keeps the one owner of such keys and prototypes.
  void keep(std::shared_ptr<const void> owner) { owner_ = std::move(owner); }
  /// Makes room for so many more.
  void reserve(std::size_t more) { sensors_.reserve(sensors_.size() + more); }

  std::span<const RawSensor> sensors() const { return sensors_; }

 private:
  std::vector<RawSensor> sensors_;
  std::deque<Sensor> own_;  // a deque, which does not move what it holds
  std::shared_ptr<const void> owner_;
};

}  // namespace kelvora
