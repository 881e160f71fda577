#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"

namespace kelvora {

class Platform;

/// Base of a host's screens: it follows the language, the theme and the settings. The host calls
/// `viewDidLoad` when the screen's own views stand; a subclass fills the three hooks. Everything
/// happens on the main thread.
class KELVORA_EXPORT KVViewController {
 public:
  KVViewController();
  explicit KVViewController(Platform& platform);
  /// Ends all subscriptions, on both notification centres.
  virtual ~KVViewController();
  KVViewController(const KVViewController&) = delete;
  KVViewController& operator=(const KVViewController&) = delete;

  /// Subscribes to the changes of language, theme and settings, then calls `configureUI` and then
  /// `localizeUI`. An override calls this one first.
  virtual void viewDidLoad();

  /// What the three notifications call.
  virtual void handleLanguageDidChangeNotification() { localizeUI(); }
  virtual void handleThemeDidChangeNotification() { configureUI(); }
  virtual void handleSettingsDidChangeNotification() { updateUI(); }

  virtual void localizeUI() {}   ///< shows the texts in the current language
  virtual void configureUI() {}  ///< shows the appearance in the current theme
  virtual void updateUI() {}     ///< shows the values by the current settings

 protected:
  /// Listens to a notification of this process's own centre until the screen's end.
  void observeInProcess(const std::string& name, std::function<void()> handler);

  Platform& platform() const { return platform_; }

 private:
  void unsubscribe();

  Platform& platform_;
  std::vector<std::uint64_t> distributed_;
  std::vector<std::uint64_t> inProcess_;
};

}  // namespace kelvora
