#pragma once

#include <cstddef>
#include <cstdio>

#include <MacTypes.h>
#include <os/availability.h>

using AuthorizationRef = const struct AuthorizationOpaqueRef*;
using AuthorizationFlags = UInt32;

/// One right, e.g. "system.privilege.admin".
struct AuthorizationItem {
  const char* name;
  size_t valueLength;
  void* value;
  UInt32 flags;
};
struct AuthorizationItemSet {
  UInt32 count;
  AuthorizationItem* items;
};
using AuthorizationRights = AuthorizationItemSet;
using AuthorizationEnvironment = AuthorizationItemSet;

constexpr OSStatus errAuthorizationSuccess = 0;
constexpr AuthorizationFlags kAuthorizationFlagDefaults = 0;
constexpr AuthorizationFlags kAuthorizationFlagInteractionAllowed = 1 << 0;
constexpr AuthorizationFlags kAuthorizationFlagExtendRights = 1 << 1;
constexpr AuthorizationFlags kAuthorizationFlagDestroyRights = 1 << 3;

/// Asks for rights; with interaction allowed the system may show its dialog, and the call waits.
extern "C" OSStatus AuthorizationCreate(const AuthorizationRights* rights,
                                        const AuthorizationEnvironment* environment,
                                        AuthorizationFlags flags, AuthorizationRef* authorization)
    API_AVAILABLE(macos(10.0));
extern "C" OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags)
    API_AVAILABLE(macos(10.0));
/// Starts a tool as root. With a `pipe` its standard input and output are connected to that. Since
/// 10.7 a program is meant to install a helper instead; nothing else starts a given tool.
extern "C" OSStatus AuthorizationExecuteWithPrivileges(AuthorizationRef authorization,
                                                       const char* tool, AuthorizationFlags options,
                                                       char* const* arguments, FILE** pipe)
    API_DEPRECATED("a privileged helper", macos(10.1, 10.7));
