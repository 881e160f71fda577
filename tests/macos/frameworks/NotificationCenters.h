#pragma once

#include <functional>
#include <string>

#include "KelvoraCore/NotificationObserver.h"

namespace kelvora::testing::mac {

/// The centres of Core Foundation: notices of the session arrive on the main loop, those of the
/// process on the thread that posts.
class NotificationCenters {
 public:
  static NotificationCenters& shared();
  /// Forgets notices that were held back, and is not suspended.
  void reset();

  /// Another program of the session posts.
  void postByOther(const Notification& notification, bool deliverImmediately);
  /// Another part of this program posts on the process's centre; the sender is no text.
  void postLocally(const Notification& notification);
  /// Whether the program is suspended: notices wait, unless they are to be delivered immediately.
  void setSuspended(bool suspended);
};

}  // namespace kelvora::testing::mac
