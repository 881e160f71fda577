#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace kelvora {

/// An instant of the store; kept to the nanosecond.
using ManagedDate = std::chrono::system_clock::time_point;
/// Bytes of the store.
using ManagedData = std::vector<std::byte>;

/// The value of one stored property: nil, or a value of the property's type. Whole numbers of every
/// width are 64-bit here. A plain value.
using ManagedValue =
    std::variant<std::monostate, bool, std::int64_t, double, std::string, ManagedDate, ManagedData>;

}  // namespace kelvora
