#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KelvoraCore/ManagedValue.h"

#include "engine/TextMatching.h"

namespace kelvora::engine {

// The parsed format text of a predicate. It does not depend on the arguments.

enum class ExpressionKind : std::uint8_t {
  kConstant,
  kArgument,     ///< %@ %d %f
  kKeyPath,      ///< names joined by dots
  kKeyArgument,  ///< %K
  kSelf,         ///< the object itself
  kBitAnd,
  kBitOr,
  kList,  ///< {a, b}
};

struct Expression {
  ExpressionKind kind = ExpressionKind::kConstant;
  std::size_t position = 0;  ///< in the format text
  ManagedValue constant;
  std::size_t argument = 0;
  std::string keyPath;
  std::vector<Expression> operands;
};

enum class Comparison : std::uint8_t {
  kEqual,
  kNotEqual,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
  kIn,
  kBetween,
  kText,
};

enum class NodeKind : std::uint8_t { kTrue, kFalse, kAnd, kOr, kNot, kCompare };

struct PredicateNode {
  NodeKind kind = NodeKind::kTrue;
  std::size_t position = 0;
  std::vector<PredicateNode> children;  ///< of and, or, not
  Comparison comparison = Comparison::kEqual;
  TextOperation textOperation = TextOperation::kEqual;  ///< of kText
  TextOptions options;
  std::vector<Expression> sides;  ///< left and right of a comparison

  // Of the root.
  std::string format;
  enum class Placeholder : std::uint8_t { kAny, kWhole, kDecimal, kKey };
  std::vector<Placeholder> placeholders;
};

/// Parses a format text; throws PredicateError.
std::shared_ptr<const PredicateNode> parsePredicate(std::string_view format);

}  // namespace kelvora::engine
