#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ManagedValue.h"

namespace kelvora {

class ManagedObject;
namespace engine {
struct PredicateNode;
}

/// What is wrong with a predicate, and where in its format text.
class KELVORA_EXPORT PredicateError : public std::invalid_argument {
 public:
  /// Its what() is e.g. "expected a comparison at 4".
  PredicateError(const std::string& what, std::size_t position);
  /// Byte offset into the format text, 0 to its length.
  std::size_t position() const { return position_; }

 private:
  std::size_t position_;
};

/// A value for a placeholder of a predicate's format text.
class KELVORA_EXPORT PredicateArgument {
 public:
  using List = std::vector<PredicateArgument>;
  using Storage = std::variant<ManagedValue, std::shared_ptr<ManagedObject>, List>;

  /// Nil, a truth value, a number, text in UTF-8, a date, or bytes.
  PredicateArgument(std::nullptr_t) : storage_(std::in_place_type<ManagedValue>) {}
  PredicateArgument(bool value) : storage_(std::in_place_type<ManagedValue>, value) {}
  template <std::integral T>
  requires(!std::same_as<T, bool>) PredicateArgument(T value)
      : storage_(std::in_place_type<ManagedValue>, static_cast<std::int64_t>(value)) {}
  template <typename T>
  requires std::is_enum_v<T> PredicateArgument(T value)
      : storage_(std::in_place_type<ManagedValue>, static_cast<std::int64_t>(value)) {}
  PredicateArgument(double value) : storage_(std::in_place_type<ManagedValue>, value) {}
  PredicateArgument(const char* text)
      : storage_(std::in_place_type<ManagedValue>, std::string(text)) {}
  PredicateArgument(std::string_view text)
      : storage_(std::in_place_type<ManagedValue>, std::string(text)) {}
  PredicateArgument(std::string text)
      : storage_(std::in_place_type<ManagedValue>, std::move(text)) {}
  PredicateArgument(ManagedDate date) : storage_(std::in_place_type<ManagedValue>, date) {}
  PredicateArgument(ManagedData bytes)
      : storage_(std::in_place_type<ManagedValue>, std::move(bytes)) {}
  PredicateArgument(ManagedValue value) : storage_(std::move(value)) {}
  /// A stored object; a null handle is nil.
  template <std::derived_from<ManagedObject> T>
  PredicateArgument(const std::shared_ptr<T>& object)
      : storage_(std::shared_ptr<ManagedObject>(object)) {}
  /// The values of an IN list.
  PredicateArgument(List values) : storage_(std::move(values)) {}

  /// For the engine.
  const Storage& storage() const { return storage_; }

 private:
  Storage storage_;
};

/// A condition on stored objects, made from a format text with placeholders:
///
///     Predicate("category.type = %d && sourceType != %d", {1, 2})
///
/// Comparisons = == != <> < <= =< > >= =>, BETWEEN {a, b}, IN {a, b} or IN %@, BEGINSWITH,
/// ENDSWITH, CONTAINS, LIKE (* and ?) and MATCHES (a whole-text regular expression), the text ones
/// with [c] (case) and [d] (accents) ignored on request; AND && OR || NOT ! and parentheses;
/// TRUEPREDICATE and FALSEPREDICATE. Operands are attribute names, key paths through to-one
/// relationships, SELF, whole and decimal numbers, 'text' or "text" with backslash escapes,
/// TRUE/YES, FALSE/NO, nil/NULL, and a & b and a | b of whole numbers. Keywords in any case.
/// Placeholders: %@ any value, list or object, %d %i %u (with h, l, ll, q) a whole number, %f %g a
/// decimal number, %K a key path. Inside quotes a per cent sign is a character like any other.
///
/// nil is a value: `a = nil` tests for it, `a != 5` is true for it, and an ordering or text
/// comparison with it is always false. A not-a-number counts as nil. The same objects match whether
/// they are saved or not. Texts compare by their UTF-8 bytes. A MATCHES or LIKE that takes more
/// than some 100,000 steps for one text does not match it. A plain value; any thread.
class KELVORA_EXPORT Predicate {
 public:
  /// Throws PredicateError when the text is malformed or the arguments do not fit its placeholders.
  /// Names and types are checked by the fetch, since only it knows the entity.
  explicit Predicate(std::string_view format, std::vector<PredicateArgument> arguments = {});

  /// The format text and the arguments that it was made from.
  const std::string& format() const;
  const std::vector<PredicateArgument>& arguments() const { return arguments_; }
  /// For the engine: the parsed text, shared by every predicate of the same text.
  const std::shared_ptr<const engine::PredicateNode>& root() const { return root_; }

 private:
  std::shared_ptr<const engine::PredicateNode> root_;
  std::vector<PredicateArgument> arguments_;
};

}  // namespace kelvora
