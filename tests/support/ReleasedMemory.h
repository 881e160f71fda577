#pragma once

#include <string_view>

namespace kelvora::testing {

/// Looks for a secret in each block of memory that C++ or OpenSSL releases from now on. A test
/// executable that links ReleasedMemory.cpp looks; call it before OpenSSL is used. The secret is
/// not copied. False if OpenSSL has memory already.
bool watchReleasedMemory(std::string_view secret);

/// In how many released blocks the secret was; any thread.
int releasedSecrets();

}  // namespace kelvora::testing
