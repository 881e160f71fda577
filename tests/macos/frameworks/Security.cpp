#include <string>

#include <Security/Security.h>

#include "tests/macos/frameworks/Ledger.h"

using kelvora::testing::mac::Ledger;

namespace {

constexpr OSStatus kCancelled = -60006;

AuthorizationRef theAuthorization() {
  static const int authorization = 0;
  return reinterpret_cast<AuthorizationRef>(&authorization);
}

void requireAuthorization(const std::string& function, AuthorizationRef authorization) {
  if (authorization != theAuthorization() || Ledger::shared().open()["authorization"] == 0) {
    Ledger::misuse(function, "there is no such authorization, or not any more");
  }
}

}  // namespace

OSStatus AuthorizationCreate(const AuthorizationRights* rights,
                             const AuthorizationEnvironment* environment, AuthorizationFlags flags,
                             AuthorizationRef* authorization) {
  if (rights->count != 1 || rights->items[0].valueLength != 0 || environment != nullptr) {
    Ledger::misuse("AuthorizationCreate", "the double knows only one right without a value");
  }
  if (Ledger::shared().called("AuthorizationCreate", rights->items[0].name, flags)) {
    return kCancelled;
  }
  Ledger::shared().opened("authorization");
  *authorization = theAuthorization();
  return errAuthorizationSuccess;
}

OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags) {
  requireAuthorization("AuthorizationFree", authorization);
  Ledger::shared().called("AuthorizationFree", flags);
  Ledger::shared().closed("authorization");
  return errAuthorizationSuccess;
}

OSStatus AuthorizationExecuteWithPrivileges(AuthorizationRef authorization, const char* tool,
                                            AuthorizationFlags options, char* const* arguments,
                                            FILE** pipe) {
  requireAuthorization("AuthorizationExecuteWithPrivileges", authorization);
  if (pipe != nullptr) {
    Ledger::misuse("AuthorizationExecuteWithPrivileges", "the pipe is never read");
  }
  std::string line = tool;
  for (; *arguments != nullptr; ++arguments) {
    line += " " + std::string(*arguments);
  }
  return Ledger::shared().called("AuthorizationExecuteWithPrivileges", line, options)
             ? kCancelled
             : errAuthorizationSuccess;
}
