#include "engine/PredicateEvaluator.h"

#include <algorithm>
#include <cstring>

namespace kelvora::engine {

namespace {

using Kind = ResolvedExpression::Kind;

template <typename T>
int order(const T& a, const T& b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// Exact where a conversion to floating point would round.
int order(std::int64_t whole, double decimal) {
  constexpr double kBeyondWhole = 9223372036854775808.0;
  if (decimal >= kBeyondWhole) {
    return -1;
  }
  if (decimal < -kBeyondWhole) {
    return 1;
  }
  const auto cut = static_cast<std::int64_t>(decimal);
  return whole != cut ? order<std::int64_t>(whole, cut)
                      : order(0.0, decimal - static_cast<double>(cut));
}

int orderOfBytes(const void* a, std::size_t sizeA, const void* b, std::size_t sizeB) {
  const std::size_t common = std::min(sizeA, sizeB);
  const int bytes = common == 0 ? 0 : std::memcmp(a, b, common);
  return bytes != 0 ? bytes : order(sizeA, sizeB);
}

int orderOfNumbers(const ManagedValue& a, const ManagedValue& b) {
  const auto* wholeA = std::get_if<std::int64_t>(&a);
  const auto* wholeB = std::get_if<std::int64_t>(&b);
  if (wholeA != nullptr && wholeB != nullptr) {
    return order(*wholeA, *wholeB);
  }
  if (wholeA != nullptr) {
    return order(*wholeA, std::get<double>(b));
  }
  return wholeB != nullptr ? -order(*wholeB, std::get<double>(a))
                           : order(std::get<double>(a), std::get<double>(b));
}

bool isNil(const ManagedValue& value) { return std::holds_alternative<std::monostate>(value); }

ManagedValue valueOf(const ResolvedExpression& expression, const PropertySource& source);

ManagedValue bitsOf(const ResolvedExpression& expression, const PropertySource& source) {
  const ManagedValue left = valueOf(expression.operands[0], source);
  const ManagedValue right = valueOf(expression.operands[1], source);
  if (isNil(left) || isNil(right)) {
    return {};
  }
  const std::int64_t a = std::get<std::int64_t>(left);
  const std::int64_t b = std::get<std::int64_t>(right);
  return expression.kind == Kind::kBitAnd ? a & b : a | b;
}

ManagedValue valueOf(const ResolvedExpression& expression, const PropertySource& source) {
  switch (expression.kind) {
    case Kind::kValue:
      return expression.value;
    case Kind::kProperty:
      return comparableValue(source.property(expression.path, expression.column));
    case Kind::kSelf:
      return source.id();
    case Kind::kBitAnd:
    case Kind::kBitOr:
      return bitsOf(expression, source);
    case Kind::kList:
      break;
  }
  return {};
}

bool equal(const ManagedValue& a, const ManagedValue& b) {
  return isNil(a) || isNil(b) ? isNil(a) && isNil(b) : compareValues(a, b) == 0;
}

bool ordered(Comparison comparison, const ManagedValue& a, const ManagedValue& b) {
  if (isNil(a) || isNil(b)) {
    return false;
  }
  const int result = compareValues(a, b);
  switch (comparison) {
    case Comparison::kLess:
      return result < 0;
    case Comparison::kLessOrEqual:
      return result <= 0;
    case Comparison::kGreater:
      return result > 0;
    default:
      return result >= 0;
  }
}

bool textHolds(const ResolvedPredicate& predicate, const ManagedValue& text,
               const ManagedValue& pattern) {
  return !isNil(text) && !isNil(pattern) &&
         textMatches(predicate.textOperation, predicate.options, std::get<std::string>(text),
                     std::get<std::string>(pattern));
}

bool compareHolds(const ResolvedPredicate& predicate, const PropertySource& source) {
  const ManagedValue left = valueOf(predicate.sides[0], source);
  const ResolvedExpression& right = predicate.sides[1];
  const auto element = [&](std::size_t i) { return valueOf(right.operands[i], source); };
  switch (predicate.comparison) {
    case Comparison::kEqual:
      return equal(left, valueOf(right, source));
    case Comparison::kNotEqual:
      return !equal(left, valueOf(right, source));
    case Comparison::kText:
      return textHolds(predicate, left, valueOf(right, source));
    case Comparison::kBetween:
      return ordered(Comparison::kGreaterOrEqual, left, element(0)) &&
             ordered(Comparison::kLessOrEqual, left, element(1));
    case Comparison::kIn:
      return std::any_of(right.operands.begin(), right.operands.end(),
                         [&](const auto& one) { return equal(left, valueOf(one, source)); });
    default:
      return ordered(predicate.comparison, left, valueOf(right, source));
  }
}

}  // namespace

int compareValues(const ManagedValue& a, const ManagedValue& b) {
  if (isNil(a) || isNil(b)) {
    return order(isNil(a) ? 0 : 1, isNil(b) ? 0 : 1);
  }
  if (const auto* text = std::get_if<std::string>(&a)) {
    const auto& other = std::get<std::string>(b);
    return orderOfBytes(text->data(), text->size(), other.data(), other.size());
  }
  if (const auto* data = std::get_if<ManagedData>(&a)) {
    const auto& other = std::get<ManagedData>(b);
    return orderOfBytes(data->data(), data->size(), other.data(), other.size());
  }
  if (const auto* date = std::get_if<ManagedDate>(&a)) {
    return order(*date, std::get<ManagedDate>(b));
  }
  return orderOfNumbers(a, b);
}

bool holds(const ResolvedPredicate& predicate, const PropertySource& source) {
  const auto childHolds = [&](const ResolvedPredicate& child) { return holds(child, source); };
  const auto& children = predicate.children;
  switch (predicate.kind) {
    case NodeKind::kTrue:
      return true;
    case NodeKind::kFalse:
      return false;
    case NodeKind::kAnd:
      return std::all_of(children.begin(), children.end(), childHolds);
    case NodeKind::kOr:
      return std::any_of(children.begin(), children.end(), childHolds);
    case NodeKind::kNot:
      return !childHolds(children[0]);
    case NodeKind::kCompare:
      return compareHolds(predicate, source);
  }
  return false;
}

}  // namespace kelvora::engine
