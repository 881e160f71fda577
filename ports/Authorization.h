#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

/// A right that was granted. Destruction releases it.
class AuthorizationGrant {
 public:
  virtual ~AuthorizationGrant() = default;
  /// AuthorizationExecuteWithPrivileges: starts a tool, e.g. "/usr/sbin/chown", as root without
  /// waiting for it; it may wait for the tool that was started before. Returns whether the launch
  /// succeeded; a failure is not logged.
  virtual bool executeWithPrivileges(const std::string& tool,
                                     const std::vector<std::string>& arguments) = 0;
};

/// Rights beyond the user's own. Any thread, but it blocks while the system shows its dialog: do
/// not call it on a thread that must stay responsive.
class Authorization {
 public:
  virtual ~Authorization() = default;
  /// AuthorizationCreate for one right ("system.privilege.admin") with interaction allowed and
  /// rights extension; null if it is refused or cancelled, which is not logged.
  virtual std::unique_ptr<AuthorizationGrant> request(std::string_view right) = 0;
};

}  // namespace kelvora::platform
