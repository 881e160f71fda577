#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

/// A right that was granted; destruction gives it back.
class AuthorizationGrant {
 public:
  virtual ~AuthorizationGrant() = default;
  /// AuthorizationExecuteWithPrivileges: starts a tool as root without waiting for it; whether the
  /// launch succeeded.
  virtual bool executeWithPrivileges(const std::string& tool,
                                     const std::vector<std::string>& arguments) = 0;
};

/// Rights beyond the user's own. Blocks while the system shows its dialog: never on a thread that
/// must stay responsive.
class Authorization {
 public:
  virtual ~Authorization() = default;
  /// AuthorizationCreate for one right ("system.privilege.admin") with interaction allowed and
  /// rights extension; null when it is refused or cancelled.
  virtual std::unique_ptr<AuthorizationGrant> request(std::string_view right) = 0;
};

}  // namespace kelvora::platform
