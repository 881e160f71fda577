#include "platforms/macos/processes/MacAuthorization.h"

#include <Security/Security.h>

namespace kelvora::platform {

namespace {

class Grant : public AuthorizationGrant {
 public:
  explicit Grant(AuthorizationRef authorization) : authorization_(authorization) {}
  // The right is not kept for the next request: who asks again is asked again.
  ~Grant() override { AuthorizationFree(authorization_, kAuthorizationFlagDestroyRights); }
  Grant(const Grant&) = delete;
  Grant& operator=(const Grant&) = delete;

  bool executeWithPrivileges(const std::string& tool,
                             const std::vector<std::string>& arguments) override {
    std::vector<std::string> copies = arguments;
    std::vector<char*> pointers;
    pointers.reserve(copies.size() + 1);
    for (std::string& argument : copies) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
// Deprecated in favour of helpers that are installed; nothing else runs a tool of the system.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const OSStatus status = AuthorizationExecuteWithPrivileges(
        authorization_, tool.c_str(), kAuthorizationFlagDefaults, pointers.data(), nullptr);
#pragma GCC diagnostic pop
    return status == errAuthorizationSuccess;
  }

 private:
  AuthorizationRef authorization_;
};

}  // namespace

std::unique_ptr<AuthorizationGrant> MacAuthorization::request(std::string_view right) {
  const std::string name(right);
  AuthorizationItem item = {name.c_str(), 0, nullptr, 0};
  const AuthorizationRights rights = {1, &item};
  AuthorizationRef authorization = nullptr;
  const OSStatus status = AuthorizationCreate(
      &rights, nullptr, kAuthorizationFlagInteractionAllowed | kAuthorizationFlagExtendRights,
      &authorization);
  if (status != errAuthorizationSuccess || authorization == nullptr) {
    return nullptr;
  }
  return std::make_unique<Grant>(authorization);
}

}  // namespace kelvora::platform
