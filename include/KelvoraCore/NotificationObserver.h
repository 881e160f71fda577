#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

/// A notification as posted.
struct KELVORA_EXPORT Notification {
  std::string name;                   ///< e.g. "KVDataManagerSettingsDidChangeNotification"
  std::optional<std::string> object;  ///< the sender's text; none for most
  /// E.g. {"KVShowHIDSensorsKey": true}.
  std::optional<PropertyListValue::Dictionary> userInfo;
};

/// Posted in this process when notifications stop reaching other programs, e.g. because the session
/// bus has ended, and when they reach them again. Its user info has `KVReachesOtherProgramsKey`: a
/// truth value, whether other programs are reached now.
inline constexpr char KVNotificationReachDidChangeNotification[] =
    "KVNotificationReachDidChangeNotification";
inline constexpr char KVReachesOtherProgramsKey[] = "KVReachesOtherProgramsKey";

/// Observes notifications of one name until it is destroyed. It receives both kinds: those that any
/// program of the user's session posted on the distributed notification centre, and those that this
/// process posted on its own centre. Every notification of the library has a constant for its name:
/// KVSetting.h (settings), KVThemeManager.h (theme), SensorController.h (failed readings).
class KELVORA_EXPORT NotificationObserver {
 public:
  using Handler = std::function<void(const Notification&)>;

  /// Calls `handler` on the main thread, from the main queue, once for each notification that is
  /// posted from now on: a host that does not run its main queue receives none. An exception from
  /// `handler` propagates out of `KVMainQueue::runPending`. Any thread.
  NotificationObserver(const std::string& name, Handler handler,
                       Platform& platform = Platform::current());
  /// After destruction on the main thread the handler is not called again, not even for
  /// notifications posted before. The handler may destroy its observer. When destroyed on another
  /// thread, a call in progress finishes.
  ~NotificationObserver();
  NotificationObserver(NotificationObserver&& other) noexcept;
  NotificationObserver& operator=(NotificationObserver&& other) noexcept;

  /// Whether notifications travel between programs. False where the system has no bus for them (on
  /// Linux without a D-Bus session bus): notifications then stay within this process. Any thread.
  static bool reachesOtherPrograms(Platform& platform = Platform::current());

 private:
  class Observation;
  std::unique_ptr<Observation> observation_;
};

}  // namespace kelvora
