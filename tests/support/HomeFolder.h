#pragma once

#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

/// The home of an account of a test's own: this process and those that it starts keep their files
/// in it, settings in config/ and everything else in data/, and read no machine from the
/// environment.
class HomeFolder : public TemporaryFolder {
 public:
  HomeFolder() {
    unsetenv("KELVORA_MACHINE");
    setenv("HOME", path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", path("config").c_str(), 1);
    setenv("XDG_DATA_HOME", path("data").c_str(), 1);
  }
};

}  // namespace kelvora::testing
