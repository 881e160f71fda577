#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::testing::mac {

/// The bundles of the system. Resources are looked for in real folders.
class Bundles {
 public:
  static Bundles& shared();
  void reset() { *this = {}; }

  /// Of the running program; none: a program without a bundle.
  std::optional<std::string> executable;
  std::optional<std::string> resources;
  std::optional<PropertyListValue::Dictionary> information;
  /// Information dictionaries of other bundles, by their paths.
  std::map<std::string, PropertyListValue::Dictionary> others;
  /// Codes in the order of the user's preference, e.g. {"de", "en"}.
  std::vector<std::string> languages;
};

}  // namespace kelvora::testing::mac
