#pragma once

#include <string>
#include <vector>

#include "KelvoraCore/SMCWrapper.h"

namespace kelvora::testing {

/// A delegate that keeps the messages it receives.
class Messages : public SMCWrapperDelegate {
 public:
  void smcReadValueFailedWithError(const std::string& message) override { all.push_back(message); }
  std::vector<std::string> all;
};

}  // namespace kelvora::testing
