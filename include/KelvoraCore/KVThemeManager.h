#pragma once

#include <atomic>
#include <cstdint>

#include "KelvoraCore/Export.h"

namespace kelvora {

class Platform;

/// The notification by which one theme manager tells all programs of a theme change.
inline constexpr char KVThemeDidChangeNotification[] = "KVThemeDidChangeNotification";

/// Whether the system is dark, and a notice to all programs of the product when that changes.
class KELVORA_EXPORT KVThemeManager {
 public:
  /// Listens to the system's theme notification until its end.
  explicit KVThemeManager(Platform& platform);
  ~KVThemeManager();
  KVThemeManager(const KVThemeManager&) = delete;
  KVThemeManager& operator=(const KVThemeManager&) = delete;

  /// The process's, on the current platform, created on the first call. Any thread.
  static KVThemeManager& sharedInstance();

  /// Whether the user's global setting "AppleInterfaceStyle" is the text "Dark". Any thread.
  static bool isDarkMode();
  static bool isDarkMode(Platform& platform);

  /// Posts "KVThemeDidChangeNotification" on the distributed notification centre. Called on the
  /// main thread for each theme notification of the system.
  void handleInterfaceThemeChangedNotification();

  /// Whether this is the menu-bar program, as its host said; the library does not use it.
  bool isMenuApp() const { return isMenuApp_; }
  void setIsMenuApp(bool isMenuApp) { isMenuApp_ = isMenuApp; }

 private:
  Platform& platform_;
  std::uint64_t observer_;
  std::atomic<bool> isMenuApp_{false};
};

}  // namespace kelvora
