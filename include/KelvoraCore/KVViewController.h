#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// Base of a host's screens: it follows the language, the theme and the settings. The host calls
/// `viewDidLoad` when the screen's own views exist; a subclass overrides the three hooks. Main
/// thread only.
class KELVORA_EXPORT KVViewController {
 public:
  /// Subscribes to nothing yet; the platform must outlive the object.
  explicit KVViewController(Platform& platform = Platform::current());
  /// Ends all subscriptions, on both notification centres.
  virtual ~KVViewController();
  KVViewController(const KVViewController&) = delete;
  KVViewController& operator=(const KVViewController&) = delete;

  /// Subscribes to the changes of language, theme and settings, then calls `configureUI` and then
  /// `localizeUI`. An override calls this one first.
  virtual void viewDidLoad();

  /// Called for each of the three notifications.
  virtual void handleLanguageDidChangeNotification() { localizeUI(); }
  virtual void handleThemeDidChangeNotification() { configureUI(); }
  virtual void handleSettingsDidChangeNotification() { updateUI(); }

  virtual void localizeUI() {}   ///< shows the texts in the current language
  virtual void configureUI() {}  ///< shows the appearance in the current theme
  virtual void updateUI() {}     ///< shows the values by the current settings

 protected:
  /// Calls `handler` for each notification of a name on the in-process centre until the screen is
  /// destroyed.
  void observeInProcess(const std::string& name, std::function<void()> handler);

  /// The platform given to the constructor.
  Platform& platform() const { return platform_; }

 private:
  void unsubscribe();

  Platform& platform_;
  std::vector<std::uint64_t> distributed_;
  std::vector<std::uint64_t> inProcess_;
};

}  // namespace kelvora
