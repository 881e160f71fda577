#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"

namespace kelvora {

class SensorController;

/// A fan and the speed that it is to have.
struct KELVORA_EXPORT KVFanSpeed {
  std::uint64_t fan = 0;    ///< index, 0 to 19
  std::uint64_t speed = 0;  ///< revolutions per minute, within the fan's limits, e.g. 3000
};

/// How a lease is held.
struct KELVORA_EXPORT KVFanLeaseOptions {
  /// If the lease is not renewed for this long, the fans are handed back. 1 ms to 24 hours; `take`
  /// fails for other values. Also the longest wait for a privileged tool that sets a fan; for one
  /// that hands a fan back it is 5 seconds (KVFanLeases::kLongestHandBack) if that is shorter.
  std::chrono::milliseconds timeout{10'000};
  /// The name by which other programs know the holder; empty: that of the running executable.
  std::string program;
  /// The guardian's program; empty: KVUtils::fanGuardianPath().
  std::string guardian;
};

/// The state of a lease's fans.
enum class KVFanLeaseState : std::uint8_t {
  kIdle,           ///< no fan was taken
  kHeld,           ///< the fans have the speeds that were asked for
  kNotHandedBack,  ///< a fan could not be handed back yet: `fault()` says which and why
  kEnded,  ///< the system controls the fans; `fault()` gives the reason unless the lease was
           ///< released
};

/// Fans that a program takes out of the system's control and that are handed back however the
/// program ends. A guardian, a process of its own, hands them back when the holder ends, is killed,
/// or does not renew the lease in time. It must be installed beside the program
/// (KVUtils::fanGuardianPath), and the privileged tool must be installed (KVUtils::smcExePath).
///
///     KVFanLease lease(SensorController::shared());
///     if (!lease.take({{0, 3000}})) { show(lease.fault()); }
///     every few seconds: if (lease.renew() != KVFanLeaseState::kHeld) { show(lease.fault()); }
///     lease.release();
///
/// In a process that ignores SIGCHLD the outcome of the privileged tool is lost; a write then
/// counts as successful if the key reads back the written value. One thread at a time. The lease
/// has no thread of its own: a program that hangs loses its fans.
class KELVORA_EXPORT KVFanLease {
 public:
  /// Takes nothing yet. The fans are those of the controller's machine; it must outlive the lease.
  explicit KVFanLease(SensorController& controller, KVFanLeaseOptions options = {});
  /// Releases the fans. If that fails, the guardian keeps trying.
  ~KVFanLease();
  KVFanLease(const KVFanLease&) = delete;
  KVFanLease& operator=(const KVFanLease&) = delete;

  /// Takes the fans and sets their speeds, after handing back what an earlier program has left
  /// behind; blocks while the privileged tool works. On a lease that is held it changes the speeds
  /// of fans that it has; it does not renew the lease. True if every write succeeded, else
  /// `fault()` names the fan and the fault: "fan 0: held by Kelvora (process 612)". Fans or speeds
  /// that are refused before anything is written, e.g. a speed outside the fan's limits, leave a
  /// held lease as it is; after a write that failed the fans are handed back. An ended lease can
  /// take again.
  bool take(const std::vector<KVFanSpeed>& speeds);

  /// Says that the program still runs; call it at least three times within the time-out. Hands the
  /// fans back when the guardian has ended, does not answer, or reports that a renewal came too
  /// late; retries an earlier hand-back that failed. Does not block while the fans are held.
  KVFanLeaseState renew();

  /// Hands the fans back, and waits until the guardian has ended too, so that they can be taken
  /// again. False if a fan could not be handed back within the time-out: call it again, or leave
  /// it to the guardian. True if nothing is held.
  bool release();

  /// The state after the last operation; does not check anything.
  KVFanLeaseState state() const;
  /// One line in English; empty when there is no fault.
  const std::string& fault() const;
  /// Whether the last `take` failed because another program has one of the fans.
  bool isHeldElsewhere() const;

 private:
  class Holder;
  std::unique_ptr<Holder> holder_;
};

}  // namespace kelvora
