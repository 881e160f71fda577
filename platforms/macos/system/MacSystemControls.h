#pragma once

#include "ports/SystemControls.h"

namespace kelvora::platform {

/// The running kernel's system controls, by sysctlbyname and sysctl.
class MacSystemControls : public SystemControls {
 public:
  int byName(const char* name, void* value, std::size_t* size) override;
  int byNumber(std::span<const int> name, void* value, std::size_t* size) override;
};

}  // namespace kelvora::platform
