#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ports/SystemFacts.h"

// What Foundation knows of the running system. A text is empty if the system does not report it.
// Any thread.
namespace kelvora::platform::cocoa {

/// NSProcessInfo's operatingSystemVersion; none if there is no process information.
std::optional<OSVersion> osVersion();
/// NSProcessInfo's operatingSystemVersionString, e.g. "Version 13.4 (Build 22F66)".
std::string osVersionText();

/// NSLocale's identifier of the user's locale, e.g. "de_DE".
std::string localeIdentifier();

/// NSHost's localizedName, e.g. "Anna's MacBook Pro".
std::string localizedHostName();
/// NSHost's name, e.g. "annas-macbook-pro.local". May wait for the name service.
std::string hostName();
/// NSHost's addresses, in the system's order.
std::vector<std::string> hostAddresses();
/// NSHost's address.
std::string primaryHostAddress();

/// The paths of NSFileManager's mounted volumes, whose names it is asked to fetch too.
std::vector<std::string> mountedVolumePaths();

}  // namespace kelvora::platform::cocoa
