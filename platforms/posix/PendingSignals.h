#pragma once

#include <span>

namespace kelvora::platform {

/// Signals that are noted and no longer end or stop the process, while an object exists; afterwards
/// they do what they did before. At most one object per process at a time; used by one thread.
class PendingSignals {
 public:
  /// Signals below 32. Those of `unlessIgnored` stay ignored where they are. Throws
  /// std::system_error where the system has no descriptors left.
  explicit PendingSignals(std::span<const int> signals, std::span<const int> unlessIgnored = {});
  ~PendingSignals();
  PendingSignals(const PendingSignals&) = delete;
  PendingSignals& operator=(const PendingSignals&) = delete;

  /// Readable once a signal was noted, until `drain`.
  int descriptor() const;
  void drain() const;
  /// Whether any of the signals was noted, or this one, and not taken since.
  bool hasAny() const;
  bool has(int signal) const;
  /// Forgets the signal; whether it was noted.
  bool take(int signal);
};

}  // namespace kelvora::platform
