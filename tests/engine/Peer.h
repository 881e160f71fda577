#pragma once

#include <string>
#include <vector>

#include "tests/support/ChildProgram.h"

namespace kelvora::testing {

/// A second process on the store: store_peer.cpp with arguments.
class Peer : public ChildProgram {
 public:
  explicit Peer(const std::vector<std::string>& arguments,
                const std::string& program = KELVORA_STORE_PEER)
      : ChildProgram(program, arguments) {}
  /// What it printed and reported until it ended.
  std::string everything() { return restOfOutput() + restOfError(); }
};

}  // namespace kelvora::testing
