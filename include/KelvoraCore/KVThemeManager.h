#pragma once

#include <atomic>
#include <cstdint>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// The notification by which a theme manager announces a theme change to all programs.
inline constexpr char KVThemeDidChangeNotification[] = "KVThemeDidChangeNotification";

/// Reports whether the system uses the dark appearance, and announces changes to all programs of
/// the product.
class KELVORA_EXPORT KVThemeManager {
 public:
  /// Listens to the system's theme notification until the object is destroyed.
  explicit KVThemeManager(Platform& platform = Platform::current());
  ~KVThemeManager();
  KVThemeManager(const KVThemeManager&) = delete;
  KVThemeManager& operator=(const KVThemeManager&) = delete;

  /// The process's manager on the current platform, created on the first call. Never destroyed.
  /// Any thread.
  static KVThemeManager& sharedInstance();

  /// Whether the user's global setting "AppleInterfaceStyle" is the text "Dark". Any thread.
  static bool isDarkMode(Platform& platform = Platform::current());

  /// Posts "KVThemeDidChangeNotification" on the distributed notification centre. Called on the
  /// main thread for each theme notification of the system.
  void handleInterfaceThemeChangedNotification();

  /// Whether this is the menu-bar program. Set by the host, not used by the library. Any thread.
  bool isMenuApp() const { return isMenuApp_; }
  void setIsMenuApp(bool isMenuApp) { isMenuApp_ = isMenuApp; }

 private:
  Platform& platform_;
  std::uint64_t observer_;
  std::atomic<bool> isMenuApp_{false};
};

}  // namespace kelvora
