#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ports/Workspace.h"

namespace kelvora::testing::mac {

/// What the functions of platforms/macos/cocoa/ find; facts of the host are those of `Host`.
class Cocoa {
 public:
  static Cocoa& shared();
  void reset() { *this = {}; }

  std::vector<platform::RunningApplication> running;
  /// Paths of installed applications by bundle identifier.
  std::map<std::string, std::string> installed;
  std::string locale;
  std::string documents;
  std::string applicationSupport;
  std::map<std::string, std::string> containers;  ///< by group
  /// Opens that are under way: each is called with what went wrong, or with none.
  std::vector<std::function<void(std::optional<std::string>)>> opening;
};

}  // namespace kelvora::testing::mac
