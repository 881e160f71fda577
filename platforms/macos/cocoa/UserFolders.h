#pragma once

#include <string>

// The folders that Foundation gives a user. A path is empty if the system has no such folder; the
// folder need not exist. Any thread.
namespace kelvora::platform::cocoa {

/// The first documents folder of the user's domain, e.g. "/Users/anna/Documents".
std::string documentsFolder();
/// The first application-support folder of the user's domain.
std::string applicationSupportFolder();
/// NSFileManager's container of an application group.
std::string groupContainer(const std::string& groupIdentifier);

}  // namespace kelvora::platform::cocoa
