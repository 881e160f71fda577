#pragma once

#include <cstdlib>
#include <random>
#include <string>

namespace kelvora::testing {

/// A seed for a random test: another one in every run, so that repeated runs explore more. The
/// environment's KELVORA_TEST_SEED sets it, to run again what failed. Say it on failure:
///
///     const unsigned seed = testing::randomSeed();
///     SCOPED_TRACE(testing::seedNote(seed));
inline unsigned randomSeed() {
  const char* wanted = std::getenv("KELVORA_TEST_SEED");
  return wanted == nullptr ? std::random_device()()
                           : static_cast<unsigned>(std::strtoul(wanted, nullptr, 10));
}

inline std::string seedNote(unsigned seed) { return "KELVORA_TEST_SEED=" + std::to_string(seed); }

}  // namespace kelvora::testing
