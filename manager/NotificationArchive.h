#pragma once

#include <optional>
#include <vector>

#include "KelvoraCore/KVNotification.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

/// The list of rules as a keyed archive; a field without a value is left out. Any thread.
PropertyListValue::Data archiveOfNotifications(const std::vector<KVNotification>& rules);

/// The list of rules in an archive; none when the bytes are damaged, or hold anything but rules. A
/// field of the wrong type is left without a value. Never throws on foreign bytes. Any thread.
std::optional<std::vector<KVNotification>> notificationsInArchive(
    const PropertyListValue::Data& bytes);

/// The list of rules in a stored value; empty when it is damaged or no data.
std::vector<KVNotification> notificationsIn(const PropertyListValue& stored);

}  // namespace kelvora
