#include "engine/FetchSQL.h"

#include <algorithm>
#include <array>
#include <map>
#include <span>
#include <utility>

#include "engine/Schema.h"

namespace kelvora::engine {

namespace {

using Kind = ResolvedExpression::Kind;

constexpr std::size_t kMostParameters = 30000;

class Writer {
 public:
  Writer(const ManagedObjectModel& model, const EntityDescription& entity)
      : model_(model), entity_(entity) {}

  // SQL's third truth value (NULL) never leaves a comparison. Where the negation is needed, an
  // unknown comparison counts as false, as it does in memory.
  std::string condition(const ResolvedPredicate& predicate, bool negated) {
    switch (predicate.kind) {
      case NodeKind::kTrue:
        return negated ? "0" : "1";
      case NodeKind::kFalse:
        return negated ? "1" : "0";
      case NodeKind::kNot:
        return condition(predicate.children[0], !negated);
      case NodeKind::kCompare: {
        std::string text = comparison(predicate);
        return negated ? "((" + text + ") IS NOT TRUE)" : "(" + text + ")";
      }
      default:
        break;
    }
    const bool conjunction = (predicate.kind == NodeKind::kAnd) != negated;
    return joined(predicate.children, negated, conjunction ? " AND " : " OR ");
  }

  // The column of the entity at the end of a path; joins the tables on the way.
  std::string property(const std::vector<std::size_t>& path, std::size_t column) {
    std::string table = "t";
    const EntityDescription* at = &entity_;
    std::vector<std::size_t> way;
    for (const std::size_t step : path) {
      way.push_back(step);
      const Column& relationship = at->columns[step];
      at = &model_.entity(relationship.destination);
      table += '.';
      table += quoted(relationship.name);
      table = joinedTable(way, table, at->name);
    }
    return table + "." + quoted(at->columns[column].name);
  }

  std::vector<FetchParameter> takeParameters() { return std::move(parameters_); }
  const std::string& joins() const { return joins_; }

 private:
  // A balanced tree: SQLite bounds the depth of expressions, not their number.
  std::string joined(std::span<const ResolvedPredicate> children, bool negated,
                     const char* connective) {
    if (children.size() == 1) {
      return condition(children[0], negated);
    }
    const std::size_t half = children.size() / 2;
    std::string left = joined(children.first(half), negated, connective);
    return "(" + left + connective + joined(children.subspan(half), negated, connective) + ")";
  }

  std::string comparison(const ResolvedPredicate& predicate) {
    const ResolvedExpression& right = predicate.sides[1];
    if (predicate.comparison == Comparison::kText) {
      const std::string head = "_text_matches(" +
                               std::to_string(static_cast<int>(predicate.textOperation)) + ", " +
                               std::to_string(optionBits(predicate.options)) + ", ";
      std::string left = operand(predicate.sides[0]);
      return head + left + ", " + operand(right) + ")";
    }
    if (predicate.comparison == Comparison::kIn) {
      return membership(predicate.sides[0], right);
    }
    std::string left = operand(predicate.sides[0]);
    if (predicate.comparison == Comparison::kBetween) {
      std::string lower = operand(right.operands[0]);
      return left + " BETWEEN " + lower + " AND " + operand(right.operands[1]);
    }
    static constexpr std::array<const char*, 6> kOperators{" IS ", " IS NOT ", " < ",
                                                           " <= ", " > ",      " >= "};
    return left + kOperators.at(static_cast<std::size_t>(predicate.comparison)) + operand(right);
  }

  std::string membership(const ResolvedExpression& left, const ResolvedExpression& list) {
    bool takesNil = false;
    std::string text = operand(left) + " IN (";
    bool first = true;
    for (const ResolvedExpression& element : list.operands) {
      // Only for a plain value is it known now whether it is NULL.
      if (element.kind == Kind::kValue && !element.argument &&
          std::holds_alternative<std::monostate>(element.value)) {
        takesNil = true;
        continue;
      }
      text += (first ? "" : ", ") + operand(element);
      first = false;
    }
    text += ")";
    for (const ResolvedExpression& element : list.operands) {
      if (element.kind != Kind::kValue || element.argument) {
        const std::string again = operand(left);
        text += " OR " + again + " IS " + operand(element);
      }
    }
    return takesNil ? text + " OR " + operand(left) + " IS NULL" : text;
  }

  std::string operand(const ResolvedExpression& expression) {
    switch (expression.kind) {
      case Kind::kValue:
        return parameter(expression);
      case Kind::kProperty:
        return property(expression.path, expression.column);
      case Kind::kSelf:
        return "t._id";
      default:
        break;
    }
    std::string left = operand(expression.operands[0]);
    const char* symbol = expression.kind == Kind::kBitAnd ? " & " : " | ";
    return "(" + left + symbol + operand(expression.operands[1]) + ")";
  }

  std::string parameter(const ResolvedExpression& expression) {
    parameters_.push_back({expression.argument, expression.value});
    if (parameters_.size() > kMostParameters) {
      throw PredicateError("too many values", 0);
    }
    return "?";
  }

  std::string joinedTable(const std::vector<std::size_t>& path, const std::string& from,
                          const std::string& to) {
    const auto [found, isNew] = tables_.emplace(path, "j" + std::to_string(tables_.size()));
    if (isNew) {
      joins_ += " LEFT JOIN " + quoted(to) + " " + found->second + " ON " + found->second +
                "._id = " + from;
    }
    return found->second;
  }

  const ManagedObjectModel& model_;
  const EntityDescription& entity_;
  std::vector<FetchParameter> parameters_;
  std::map<std::vector<std::size_t>, std::string> tables_;
  std::string joins_;
};

std::string columnList(const EntityDescription& entity) {
  std::string list = "t._id";
  for (const Column& column : entity.columns) {
    list += ", t." + quoted(column.name);
  }
  return list;
}

// A fetch for the members of one owner can use the batched index, but only when it reads the
// entered and the recent rows separately.
bool asksForOwner(const ResolvedPredicate& predicate, std::size_t column) {
  const auto childAsks = [column](const auto& child) { return asksForOwner(child, column); };
  const auto& children = predicate.children;
  if (predicate.kind == NodeKind::kAnd) {
    return std::any_of(children.begin(), children.end(), childAsks);
  }
  if (predicate.kind == NodeKind::kOr) {
    return std::all_of(children.begin(), children.end(), childAsks);
  }
  if (predicate.kind != NodeKind::kCompare) {
    return false;
  }
  const ResolvedExpression& left = predicate.sides[0];
  const bool isOwner = left.kind == Kind::kProperty && left.path.empty() && left.column == column;
  const bool isOneValue =
      predicate.comparison == Comparison::kEqual && predicate.sides[1].kind == Kind::kValue;
  return isOwner && (isOneValue || predicate.comparison == Comparison::kIn);
}

std::string membersOf(const EntityDescription& entity, std::size_t column,
                      const std::string& list) {
  const std::string from = "SELECT " + list + " FROM " + quoted(entity.name) + " t";
  const std::string owner = " WHERE t." + quoted(entity.columns[column].name) + " = ?1";
  const Index* batched = entity.batchedIndex();
  if (batched == nullptr || batched->columns[0] != column) {
    return from + owner;
  }
  return from + " INDEXED BY " + quoted(indexName(entity, *batched)) + owner +
         " AND t._recent IS NULL UNION ALL " + from + " INDEXED BY " +
         quoted(recentIndexName(entity)) + owner + " AND t._recent = 1";
}

// By the number of a result column, which also orders a UNION. The id is the first, then come the
// entity's columns, then the one that only the order needs.
std::string orderClause(const EntityDescription& entity, const std::optional<FetchOrder>& order) {
  if (!order) {
    return " ORDER BY 1";
  }
  const std::size_t place = order->path.empty() ? order->column : entity.columns.size();
  return " ORDER BY " + std::to_string(place + 2) + (order->ascending ? "" : " DESC") + ", 1";
}

}  // namespace

FetchSQL fetchSQL(const ManagedObjectModel& model, const EntityDescription& entity,
                  const ResolvedPredicate* predicate, const std::optional<FetchOrder>& order,
                  bool firstOnly) {
  FetchSQL sql;
  Writer writer(model, entity);
  const std::string condition = predicate == nullptr ? "" : writer.condition(*predicate, false);
  sql.parameters = writer.takeParameters();
  const bool ordersByPath = order && !order->path.empty();
  const std::string list =
      columnList(entity) + (ordersByPath ? ", " + writer.property(order->path, order->column) : "");
  const std::string from =
      "SELECT " + list + " FROM " + quoted(entity.name) + " t" + writer.joins();
  const Index* batched = entity.batchedIndex();
  if (predicate != nullptr && batched != nullptr && asksForOwner(*predicate, batched->columns[0])) {
    sql.text = from + " WHERE t._recent IS NULL AND " + condition + " UNION ALL " + from +
               " WHERE t._recent = 1 AND " + condition;
    const std::vector<FetchParameter> once = sql.parameters;
    sql.parameters.insert(sql.parameters.end(), once.begin(), once.end());
  } else {
    sql.text = predicate == nullptr ? from : from + " WHERE " + condition;
  }
  sql.text += orderClause(entity, order) + (firstOnly ? " LIMIT 1" : "");
  return sql;
}

std::string rowSQL(const EntityDescription& entity) {
  return "SELECT " + columnList(entity) + " FROM " + quoted(entity.name) + " t WHERE t._id = ?1";
}

std::string membersSQL(const EntityDescription& entity, std::size_t column) {
  return membersOf(entity, column, columnList(entity));
}

std::string memberIDsSQL(const EntityDescription& entity, std::size_t column) {
  return membersOf(entity, column, "t._id");
}

}  // namespace kelvora::engine
