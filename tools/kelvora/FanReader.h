#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/SensorController.h"

namespace kelvora::tool {

/// A fan as it is read now. Speeds are in revolutions per minute; none could not be read.
struct FanState {
  std::uint64_t index = 0;
  std::string name;  ///< e.g. "Leftside"
  std::optional<double> speed;
  std::optional<double> minimum;  ///< its own, also while a lease has raised it
  std::optional<double> maximum;
  std::optional<double> target;
  std::optional<bool> isFixed;     ///< its mode; none on a machine whose fans have no mode
  std::optional<double> raisedTo;  ///< what a lease has raised its minimum to, on such a machine
  std::optional<KVLeasedFan> lease;
};

/// Reads the fans of a machine. Failed reads are not posted to other programs. One thread.
class FanReader {
 public:
  /// `platform` is the current one.
  explicit FanReader(Platform& platform);

  SensorController& controller() { return controller_; }

  /// Throws CommandError (nothing could be read) if the machine's SMC cannot be reached.
  void requireSMC();

  /// The fans that can be named, by index, each with its lease among `leases`.
  std::vector<FanState> read(const std::vector<KVLeasedFan>& leases);

 private:
  static bool hasSMC();
  FanState read(std::uint64_t fan, const std::vector<KVLeasedFan>& leases);

  SensorController controller_;
};

}  // namespace kelvora::tool
