#pragma once

#include <optional>
#include <type_traits>

#include "base/ArchiveValue.h"

namespace kelvora {

/// A field of an archived object as a T: a number of any kind as the number asked for, a text or a
/// date as it is. None when the object has no such field, or one of another kind.
template <typename T>
std::optional<T> archivedField(const ArchiveValue::Object& object, std::string_view name) {
  const ArchiveValue* value = object.value(name);
  if (value == nullptr) {
    return std::nullopt;
  }
  if constexpr (std::is_arithmetic_v<T>) {
    const auto number = numberOf(*value);
    if (!number) {
      return std::nullopt;
    }
    if constexpr (std::is_same_v<T, bool>) {
      return number->boolValue();
    } else if constexpr (std::is_same_v<T, double>) {
      return number->doubleValue();
    } else {
      return number->integerValue();
    }
  } else {
    const T* held = value->as<T>();
    return held == nullptr ? std::nullopt : std::optional(*held);
  }
}

}  // namespace kelvora
