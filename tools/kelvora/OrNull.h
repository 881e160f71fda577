#pragma once

#include <optional>

#include <nlohmann/json.hpp>

#include "tools/kelvora/Report.h"

namespace kelvora::tool {

/// A value of a report that may be missing: null then.
template <typename T>
Json orNull(const std::optional<T>& value) {
  return value ? Json(*value) : Json(nullptr);
}

inline Json orNull(const std::optional<double>& number) {
  return number ? jsonNumber(*number) : Json(nullptr);
}

}  // namespace kelvora::tool
