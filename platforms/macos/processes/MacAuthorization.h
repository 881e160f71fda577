#pragma once

#include "ports/Authorization.h"

namespace kelvora::platform {

/// Rights by the Security framework. A tool that runs with privileges is not waited for.
class MacAuthorization : public Authorization {
 public:
  std::unique_ptr<AuthorizationGrant> request(std::string_view right) override;
};

}  // namespace kelvora::platform
