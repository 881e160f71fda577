#include "KelvoraCore/Predicate.h"

#include <utility>
#include <variant>

#include "engine/PredicateSyntax.h"

namespace kelvora {

namespace {

using Placeholder = engine::PredicateNode::Placeholder;

bool fits(Placeholder placeholder, const PredicateArgument& argument) {
  const auto* value = std::get_if<ManagedValue>(&argument.storage());
  const auto holds = [value]<typename... T>() {
    return value != nullptr && (std::holds_alternative<T>(*value) || ...);
  };
  switch (placeholder) {
    case Placeholder::kWhole:
      return holds.operator()<bool, std::int64_t>();
    case Placeholder::kDecimal:
      return holds.operator()<bool, std::int64_t, double>();
    case Placeholder::kKey:
      return holds.operator()<std::string>();
    case Placeholder::kAny:
      return true;
  }
  return false;
}

}  // namespace

PredicateError::PredicateError(const std::string& what, std::size_t position)
    : std::invalid_argument(what + " at " + std::to_string(position)), position_(position) {}

Predicate::Predicate(std::string_view format, std::vector<PredicateArgument> arguments)
    : root_(engine::parsePredicate(format)), arguments_(std::move(arguments)) {
  if (arguments_.size() != root_->placeholders.size()) {
    throw PredicateError("another number of placeholders than arguments", format.size());
  }
  for (std::size_t i = 0; i < arguments_.size(); ++i) {
    if (!fits(root_->placeholders[i], arguments_[i])) {
      throw PredicateError("argument " + std::to_string(i) + " is of another kind", format.size());
    }
  }
}

const std::string& Predicate::format() const { return root_->format; }

}  // namespace kelvora
