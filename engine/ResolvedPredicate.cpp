#include "engine/ResolvedPredicate.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "KelvoraCore/ManagedObject.h"

namespace kelvora::engine {

namespace {

using Kind = ResolvedExpression::Kind;

ValueClass classOf(const ManagedValue& value) {
  return std::visit(
      [](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return ValueClass::kNil;
        } else if constexpr (std::is_same_v<T, std::string>) {
          return ValueClass::kText;
        } else if constexpr (std::is_same_v<T, ManagedDate>) {
          return ValueClass::kDate;
        } else if constexpr (std::is_same_v<T, ManagedData>) {
          return ValueClass::kData;
        } else {
          return ValueClass::kNumber;
        }
      },
      value);
}

ValueClass classOf(const Column& column) {
  if (column.kind != ColumnKind::kAttribute) {
    return ValueClass::kObject;
  }
  switch (column.type) {
    case AttributeType::kString:
      return ValueClass::kText;
    case AttributeType::kDate:
      return ValueClass::kDate;
    case AttributeType::kBinary:
      return ValueClass::kData;
    default:
      return ValueClass::kNumber;
  }
}

bool comparable(ValueClass a, ValueClass b) {
  return a == b || a == ValueClass::kNil || b == ValueClass::kNil;
}

class Resolver {
 public:
  Resolver(const Predicate& predicate, const ManagedObjectModel& model,
           const EntityDescription& entity)
      : predicate_(predicate), model_(model), entity_(entity) {}

  ResolvedPredicate node(const PredicateNode& from) const {
    ResolvedPredicate to;
    to.kind = from.kind;
    to.comparison = from.comparison;
    to.textOperation = from.textOperation;
    to.options = from.options;
    for (const PredicateNode& child : from.children) {
      to.children.push_back(node(child));
    }
    for (const Expression& side : from.sides) {
      to.sides.push_back(expression(side));
    }
    if (from.kind == NodeKind::kCompare) {
      check(from, to);
    }
    return to;
  }

 private:
  ResolvedExpression expression(const Expression& from) const {
    switch (from.kind) {
      case ExpressionKind::kConstant:
        return valueOf(from.constant);
      case ExpressionKind::kArgument:
        return argument(from);
      case ExpressionKind::kKeyPath:
        return resolveKeyPath(from.keyPath, model_, entity_, from.position);
      case ExpressionKind::kKeyArgument:
        return resolveKeyPath(keyOf(from), model_, entity_, from.position);
      case ExpressionKind::kSelf: {
        ResolvedExpression self;
        self.kind = Kind::kSelf;
        self.valueClass = ValueClass::kObject;
        return self;
      }
      default:
        return compound(from);
    }
  }

  static ResolvedExpression valueOf(const ManagedValue& value) {
    ResolvedExpression to;
    to.valueClass = classOf(value);
    to.value = comparableValue(value);
    to.whole = std::holds_alternative<std::int64_t>(to.value);
    return to;
  }

  static ResolvedExpression argumentValue(const PredicateArgument& argument, std::size_t position) {
    if (const auto* value = std::get_if<ManagedValue>(&argument.storage())) {
      return valueOf(*value);
    }
    if (std::holds_alternative<PredicateArgument::List>(argument.storage())) {
      throw PredicateError("a list in a list", position);
    }
    ResolvedExpression to;
    to.value = comparableValue(argument);
    to.valueClass =
        std::holds_alternative<std::monostate>(to.value) ? ValueClass::kNil : ValueClass::kObject;
    return to;
  }

  ResolvedExpression argument(const Expression& from) const {
    const PredicateArgument& argument = predicate_.arguments()[from.argument];
    if (const auto* list = std::get_if<PredicateArgument::List>(&argument.storage())) {
      ResolvedExpression to;
      to.kind = Kind::kList;
      for (const PredicateArgument& element : *list) {
        to.operands.push_back(argumentValue(element, from.position));
      }
      return to;
    }
    ResolvedExpression to = argumentValue(argument, from.position);
    to.argument = from.argument;
    return to;
  }

  ResolvedExpression compound(const Expression& from) const {
    ResolvedExpression to;
    for (const Expression& operand : from.operands) {
      to.operands.push_back(expression(operand));
    }
    if (from.kind == ExpressionKind::kList) {
      to.kind = Kind::kList;
      return to;
    }
    to.kind = from.kind == ExpressionKind::kBitAnd ? Kind::kBitAnd : Kind::kBitOr;
    to.valueClass = ValueClass::kNumber;
    to.whole = std::all_of(to.operands.begin(), to.operands.end(), [](const auto& operand) {
      const bool isNil = operand.valueClass == ValueClass::kNil && operand.kind != Kind::kList;
      return operand.whole || isNil;
    });
    if (!to.whole) {
      throw PredicateError("bit operators take whole numbers", from.position);
    }
    return to;
  }

  std::string keyOf(const Expression& from) const {
    const auto& value = std::get<ManagedValue>(predicate_.arguments()[from.argument].storage());
    return std::get<std::string>(value);
  }

  static void check(const PredicateNode& from, const ResolvedPredicate& to) {
    const ResolvedExpression& left = to.sides[0];
    const ResolvedExpression& right = to.sides[1];
    const bool takesList =
        from.comparison == Comparison::kIn || from.comparison == Comparison::kBetween;
    if (left.kind == Kind::kList || (right.kind == Kind::kList) != takesList) {
      throw PredicateError("a list belongs to the right of IN and BETWEEN", from.position);
    }
    if (from.comparison == Comparison::kBetween && right.operands.size() != 2) {
      throw PredicateError("BETWEEN takes two values", from.position);
    }
    if (right.kind != Kind::kList) {
      checkClass(from, left, right);
      return;
    }
    for (const ResolvedExpression& element : right.operands) {
      if (element.kind == Kind::kList) {
        throw PredicateError("a list in a list", from.position);
      }
      checkClass(from, left, element);
    }
  }

  static void checkClass(const PredicateNode& from, const ResolvedExpression& left,
                         const ResolvedExpression& right) {
    bool fits = comparable(left.valueClass, right.valueClass);
    const auto is = [&](ValueClass valueClass) {
      return left.valueClass == valueClass || right.valueClass == valueClass;
    };
    if (from.comparison == Comparison::kText) {
      fits = fits && !is(ValueClass::kNumber) && !is(ValueClass::kDate) && !is(ValueClass::kData) &&
             !is(ValueClass::kObject);
    } else if (from.comparison != Comparison::kEqual && from.comparison != Comparison::kNotEqual &&
               from.comparison != Comparison::kIn) {
      fits = fits && !is(ValueClass::kData) && !is(ValueClass::kObject);
    }
    if (!fits) {
      throw PredicateError("these cannot be compared", from.position);
    }
  }

  const Predicate& predicate_;
  const ManagedObjectModel& model_;
  const EntityDescription& entity_;
};

void collectColumns(const ResolvedExpression& expression, ColumnsByPath& columns) {
  addColumnsBehind(expression.path, expression.column, columns);
  for (const ResolvedExpression& operand : expression.operands) {
    collectColumns(operand, columns);
  }
}

void collectColumns(const ResolvedPredicate& predicate, ColumnsByPath& columns) {
  for (const ResolvedPredicate& child : predicate.children) {
    collectColumns(child, columns);
  }
  for (const ResolvedExpression& side : predicate.sides) {
    collectColumns(side, columns);
  }
}

}  // namespace

ResolvedPredicate resolve(const Predicate& predicate, const ManagedObjectModel& model,
                          const EntityDescription& entity) {
  return Resolver(predicate, model, entity).node(*predicate.root());
}

ResolvedExpression resolveKeyPath(std::string_view keyPath, const ManagedObjectModel& model,
                                  const EntityDescription& entity, std::size_t position) {
  ResolvedExpression to;
  to.kind = Kind::kProperty;
  const EntityDescription* at = &entity;
  while (true) {
    const std::size_t dot = keyPath.find('.');
    const std::string_view name = keyPath.substr(0, dot);
    const auto column = at->columnNamed(name);
    if (!column || name.starts_with('_')) {
      throw PredicateError("\"" + at->name + "\" has no \"" + std::string(name) + "\"", position);
    }
    const Column& found = at->columns[*column];
    if (dot == std::string_view::npos) {
      to.column = *column;
      to.valueClass = classOf(found);
      to.whole = found.kind == ColumnKind::kAttribute && to.valueClass == ValueClass::kNumber &&
                 found.type != AttributeType::kDouble;
      return to;
    }
    if (found.kind != ColumnKind::kToOne) {
      throw PredicateError("\"" + std::string(name) + "\" leads to no object", position);
    }
    to.path.push_back(*column);
    at = &model.entity(found.destination);
    keyPath.remove_prefix(dot + 1);
  }
}

ManagedValue comparableValue(const PredicateArgument& argument) {
  if (const auto* value = std::get_if<ManagedValue>(&argument.storage())) {
    return comparableValue(*value);
  }
  const auto* object = std::get_if<std::shared_ptr<ManagedObject>>(&argument.storage());
  return object != nullptr && *object ? ManagedValue((*object)->objectID()) : ManagedValue();
}

ManagedValue comparableValue(ManagedValue value) {
  if (const auto* flag = std::get_if<bool>(&value)) {
    return std::int64_t{*flag ? 1 : 0};
  }
  const auto* number = std::get_if<double>(&value);
  return number != nullptr && std::isnan(*number) ? ManagedValue() : value;
}

void addColumnsBehind(const std::vector<std::size_t>& path, std::size_t column,
                      ColumnsByPath& columns) {
  for (std::size_t step = 1; step <= path.size(); ++step) {
    const std::size_t read = step == path.size() ? column : path[step];
    columns[{path.begin(), path.begin() + static_cast<std::ptrdiff_t>(step)}] |= std::uint64_t{1}
                                                                                 << read;
  }
}

ColumnsByPath columnsBehind(const ResolvedPredicate& predicate) {
  ColumnsByPath columns;
  collectColumns(predicate, columns);
  return columns;
}

ResolvedPredicate leadsTo(const std::vector<std::size_t>& path,
                          const std::vector<std::int64_t>& ids) {
  ResolvedExpression reference;
  reference.kind = Kind::kProperty;
  reference.valueClass = ValueClass::kObject;
  reference.path.assign(path.begin(), path.end() - 1);
  reference.column = path.back();
  ResolvedExpression list;
  list.kind = Kind::kList;
  for (const std::int64_t id : ids) {
    ResolvedExpression element;
    element.valueClass = ValueClass::kObject;
    element.value = id;
    list.operands.push_back(std::move(element));
  }
  ResolvedPredicate predicate;
  predicate.kind = NodeKind::kCompare;
  predicate.comparison = Comparison::kIn;
  predicate.sides = {std::move(reference), std::move(list)};
  return predicate;
}

}  // namespace kelvora::engine
