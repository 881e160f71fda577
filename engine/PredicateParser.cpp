#include <array>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>
#include <variant>

#include "KelvoraCore/Predicate.h"

#include "engine/PredicateLexer.h"
#include "engine/PredicateSyntax.h"

namespace kelvora::engine {

namespace {

// Bounds the recursion, here and in everything that walks a predicate.
constexpr int kDeepestNesting = 100;

bool isWord(std::string_view text, std::string_view upperCaseWord) {
  return text.size() == upperCaseWord.size() &&
         std::equal(text.begin(), text.end(), upperCaseWord.begin(), [](char a, char b) {
           return (a >= 'a' && a <= 'z' ? static_cast<char>(a - 'a' + 'A') : a) == b;
         });
}

struct Operator {
  std::string_view text;
  Comparison comparison;
  TextOperation textOperation = TextOperation::kEqual;
};

constexpr std::array<Operator, 10> kSymbolOperators{{{"=", Comparison::kEqual},
                                                     {"==", Comparison::kEqual},
                                                     {"!=", Comparison::kNotEqual},
                                                     {"<>", Comparison::kNotEqual},
                                                     {"<", Comparison::kLess},
                                                     {"<=", Comparison::kLessOrEqual},
                                                     {"=<", Comparison::kLessOrEqual},
                                                     {">", Comparison::kGreater},
                                                     {">=", Comparison::kGreaterOrEqual},
                                                     {"=>", Comparison::kGreaterOrEqual}}};

constexpr std::array<Operator, 7> kWordOperators{
    {{"IN", Comparison::kIn},
     {"BETWEEN", Comparison::kBetween},
     {"BEGINSWITH", Comparison::kText, TextOperation::kBeginsWith},
     {"ENDSWITH", Comparison::kText, TextOperation::kEndsWith},
     {"CONTAINS", Comparison::kText, TextOperation::kContains},
     {"LIKE", Comparison::kText, TextOperation::kLike},
     {"MATCHES", Comparison::kText, TextOperation::kMatches}}};

struct ConstantWord {
  std::string_view word;
  ManagedValue value;
};

std::optional<ManagedValue> constantNamed(std::string_view word) {
  static const std::array<ConstantWord, 7> kWords{{{"TRUE", true},
                                                   {"YES", true},
                                                   {"FALSE", false},
                                                   {"NO", false},
                                                   {"NIL", {}},
                                                   {"NULL", {}},
                                                   {"NONE", {}}}};
  for (const auto& [known, value] : kWords) {
    if (isWord(word, known)) {
      return value;
    }
  }
  return std::nullopt;
}

bool isKeyPath(std::string_view text) {
  return !text.empty() && text.front() != '.' && text.back() != '.' &&
         text.find("..") == std::string_view::npos && text.front() != '@';
}

class Parser {
 public:
  explicit Parser(std::string_view format) : format_(format), lexer_(format) { advance(); }

  PredicateNode parse() {
    PredicateNode root = disjunction();
    if (token_.kind != TokenKind::kEnd) {
      fail("expected the end");
    }
    root.format = std::string(format_);
    root.placeholders = std::move(placeholders_);
    return root;
  }

 private:
  [[noreturn]] void fail(const char* what) const { throw PredicateError(what, token_.position); }
  void advance() { token_ = lexer_.next(); }

  bool takeSymbol(std::string_view symbol) {
    const bool taken = token_.kind == TokenKind::kSymbol && token_.text == symbol;
    if (taken) {
      advance();
    }
    return taken;
  }
  bool takeWord(std::string_view word) {
    const bool taken = token_.kind == TokenKind::kWord && isWord(token_.text, word);
    if (taken) {
      advance();
    }
    return taken;
  }
  void expectSymbol(std::string_view symbol, const char* what) {
    if (!takeSymbol(symbol)) {
      fail(what);
    }
  }

  // Counts the nesting for the length of a scope.
  struct Nesting {
    explicit Nesting(Parser& of) : parser(of) {
      if (++parser.depth_ > kDeepestNesting) {
        parser.fail("nested too deep");
      }
    }
    ~Nesting() { --parser.depth_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    Parser& parser;
  };

  static PredicateNode joined(NodeKind kind, std::vector<PredicateNode> children) {
    if (children.size() == 1) {
      return std::move(children.front());
    }
    PredicateNode node;
    node.kind = kind;
    node.position = children.front().position;
    node.children = std::move(children);
    return node;
  }

  // The caller may have parsed the first condition already, to find out what a parenthesis is.
  PredicateNode disjunction(std::optional<PredicateNode> first = {}) {
    std::vector<PredicateNode> children;
    children.push_back(conjunction(std::move(first)));
    while (takeSymbol("||") || takeWord("OR")) {
      children.push_back(conjunction());
    }
    return joined(NodeKind::kOr, std::move(children));
  }

  PredicateNode conjunction(std::optional<PredicateNode> first = {}) {
    std::vector<PredicateNode> children;
    children.push_back(first ? *std::move(first) : negation());
    while (takeSymbol("&&") || takeWord("AND")) {
      children.push_back(negation());
    }
    return joined(NodeKind::kAnd, std::move(children));
  }

  PredicateNode negation() {
    const std::size_t position = token_.position;
    if (takeSymbol("!") || takeWord("NOT")) {
      const Nesting nesting(*this);
      PredicateNode node;
      node.kind = NodeKind::kNot;
      node.position = position;
      node.children.push_back(negation());
      return node;
    }
    return primary();
  }

  PredicateNode primary() {
    PredicateNode node;
    node.position = token_.position;
    if (takeWord("TRUEPREDICATE")) {
      return node;
    }
    if (takeWord("FALSEPREDICATE")) {
      node.kind = NodeKind::kFalse;
      return node;
    }
    Group left = operandOrGroup();
    auto* expression = std::get_if<Expression>(&left);
    return expression == nullptr ? std::get<PredicateNode>(std::move(left))
                                 : comparison(std::move(*expression));
  }

  // "(a & b) = c" and "(a = b)" begin alike. They differ in what follows the first operand.
  using Group = std::variant<PredicateNode, Expression>;

  // The content of a parenthesis after the opening one, and the closing one.
  Group group() {
    const Nesting nesting(*this);
    std::optional<PredicateNode> first;
    if (!startsCondition()) {
      Group left = operandOrGroup();
      if (auto* expression = std::get_if<Expression>(&left)) {
        if (takeSymbol(")")) {
          return left;
        }
        first = comparison(std::move(*expression));
      } else {
        first = std::get<PredicateNode>(std::move(left));
      }
    }
    PredicateNode inner = disjunction(std::move(first));
    expectSymbol(")", "expected )");
    return inner;
  }

  Group operandOrGroup() {
    if (!takeSymbol("(")) {
      return operand();
    }
    Group inner = group();
    auto* expression = std::get_if<Expression>(&inner);
    return expression == nullptr ? std::move(inner) : bitOperators(std::move(*expression));
  }

  bool startsCondition() const {
    if (token_.kind == TokenKind::kSymbol) {
      return token_.text == "!";
    }
    return token_.kind == TokenKind::kWord &&
           (isWord(token_.text, "NOT") || isWord(token_.text, "TRUEPREDICATE") ||
            isWord(token_.text, "FALSEPREDICATE"));
  }

  PredicateNode comparison(Expression left) {
    PredicateNode node;
    node.kind = NodeKind::kCompare;
    node.position = token_.position;
    takeOperator(node);
    takeOptions(node);
    node.sides.push_back(std::move(left));
    node.sides.push_back(operand());
    if (node.comparison == Comparison::kBetween && node.sides[1].kind == ExpressionKind::kList &&
        node.sides[1].operands.size() != 2) {
      throw PredicateError("BETWEEN takes two values", node.sides[1].position);
    }
    return node;
  }

  void takeOperator(PredicateNode& node) {
    if (token_.kind == TokenKind::kSymbol) {
      for (const Operator& known : kSymbolOperators) {
        if (token_.text == known.text) {
          node.comparison = known.comparison;
          advance();
          return;
        }
      }
    }
    if (token_.kind == TokenKind::kWord) {
      for (const Operator& known : kWordOperators) {
        if (takeWord(known.text)) {
          node.comparison = known.comparison;
          node.textOperation = known.textOperation;
          return;
        }
      }
    }
    fail("expected a comparison");
  }

  void takeOptions(PredicateNode& node) {
    if (!takeSymbol("[")) {
      return;
    }
    const bool equality = node.comparison == Comparison::kEqual;
    if (token_.kind != TokenKind::kWord || (node.comparison != Comparison::kText && !equality)) {
      fail("no options here");
    }
    for (const char option : token_.text) {
      if (option != 'c' && option != 'd') {
        fail("unknown option");
      }
      node.options.ignoreCase = node.options.ignoreCase || option == 'c';
      node.options.ignoreAccents = node.options.ignoreAccents || option == 'd';
    }
    if (equality) {
      node.comparison = Comparison::kText;
    }
    advance();
    expectSymbol("]", "expected ]");
  }

  Expression operand() {
    const Nesting nesting(*this);
    return bitOperators(atom());
  }

  Expression bitOperators(Expression left) {
    while (token_.kind == TokenKind::kSymbol && (token_.text == "&" || token_.text == "|")) {
      if (++bitOperators_ > kDeepestNesting) {
        fail("too many bit operators");
      }
      Expression both;
      both.kind = token_.text == "&" ? ExpressionKind::kBitAnd : ExpressionKind::kBitOr;
      both.position = token_.position;
      advance();
      both.operands.push_back(std::move(left));
      both.operands.push_back(atom());
      left = std::move(both);
    }
    return left;
  }

  Expression atom() {
    Expression expression;
    expression.position = token_.position;
    switch (token_.kind) {
      case TokenKind::kNumber:
      case TokenKind::kText:
        expression.constant = token_.value;
        break;
      case TokenKind::kPlaceholder:
        placeholder(expression);
        break;
      case TokenKind::kWord:
        word(expression);
        break;
      case TokenKind::kSymbol:
        return symbolAtom(std::move(expression));
      case TokenKind::kEnd:
        fail("expected a value");
    }
    advance();
    return expression;
  }

  Expression symbolAtom(Expression expression) {
    if (takeSymbol("(")) {
      expression = operand();
      expectSymbol(")", "expected )");
    } else if (takeSymbol("-")) {
      negate(expression);
    } else if (takeSymbol("{")) {
      list(expression);
    } else {
      fail("expected a value");
    }
    return expression;
  }

  void negate(Expression& expression) {
    if (const auto* whole = std::get_if<std::int64_t>(&token_.value)) {
      expression.constant = -*whole;
    } else if (const auto* decimal = std::get_if<double>(&token_.value)) {
      expression.constant = -*decimal;
    } else {
      fail("expected a number");
    }
    advance();
  }

  void list(Expression& expression) {
    expression.kind = ExpressionKind::kList;
    if (takeSymbol("}")) {
      return;
    }
    do {
      expression.operands.push_back(operand());
    } while (takeSymbol(","));
    expectSymbol("}", "expected }");
  }

  void placeholder(Expression& expression) {
    using Placeholder = PredicateNode::Placeholder;
    const char kind = token_.text[0];
    expression.kind = kind == 'K' ? ExpressionKind::kKeyArgument : ExpressionKind::kArgument;
    expression.argument = placeholders_.size();
    placeholders_.push_back(kind == 'K'   ? Placeholder::kKey
                            : kind == 'd' ? Placeholder::kWhole
                            : kind == 'f' ? Placeholder::kDecimal
                                          : Placeholder::kAny);
  }

  void word(Expression& expression) const {
    if (auto constant = constantNamed(token_.text)) {
      expression.constant = *std::move(constant);
    } else if (isWord(token_.text, "SELF")) {
      expression.kind = ExpressionKind::kSelf;
    } else {
      const std::string_view path = token_.text;
      const bool escaped = path.front() == '#';  // #and: an attribute named like a keyword
      expression.kind = ExpressionKind::kKeyPath;
      expression.keyPath = std::string(escaped ? path.substr(1) : path);
      if (!isKeyPath(expression.keyPath)) {
        fail("not a key path");
      }
    }
  }

  std::string_view format_;
  PredicateLexer lexer_;
  Token token_;
  std::vector<PredicateNode::Placeholder> placeholders_;
  int depth_ = 0;
  int bitOperators_ = 0;
};

}  // namespace

std::shared_ptr<const PredicateNode> parsePredicate(std::string_view format) {
  constexpr std::size_t kMostTexts = 256;
  static std::mutex mutex;
  static std::unordered_map<std::string, std::shared_ptr<const PredicateNode>> parsed;
  std::string text(format);
  {
    const std::lock_guard lock(mutex);
    const auto found = parsed.find(text);
    if (found != parsed.end()) {
      return found->second;
    }
  }
  auto root = std::make_shared<const PredicateNode>(Parser(format).parse());
  const std::lock_guard lock(mutex);
  if (parsed.size() >= kMostTexts) {
    parsed.clear();
  }
  parsed.emplace(std::move(text), root);
  return root;
}

}  // namespace kelvora::engine
