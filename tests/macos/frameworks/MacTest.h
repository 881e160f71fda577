#pragma once

#include <gtest/gtest.h>

#include "tests/macos/frameworks/Ledger.h"

namespace kelvora::testing::mac {

/// A test against the doubles of the frameworks: at its end nothing may be open.
class MacTest : public ::testing::Test {
 protected:
  MacTest() { ledger.reset(); }
  void TearDown() override {
    for (const auto& [kind, count] : ledger.open()) {
      ADD_FAILURE() << count << " open: " << kind;
    }
  }

  Ledger& ledger = Ledger::shared();
};

}  // namespace kelvora::testing::mac
