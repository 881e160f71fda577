// Any text as a predicate: it is parsed, fitted to an entity, written as SQL and judged in memory,
// or refused with a PredicateError.
#include "KelvoraCore/Predicate.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "engine/FetchSQL.h"
#include "engine/ModelFile.h"
#include "engine/PredicateEvaluator.h"
#include "engine/PredicateSyntax.h"

namespace {

using namespace kelvora;

constexpr const char* kModel = R"({"entities": [
  {"name": "Category", "attributes": [{"name": "type", "type": "Int16"}],
   "relationships": [{"name": "sensors", "destination": "Sensor", "inverse": "category",
                      "toMany": true, "ordered": true}]},
  {"name": "Sensor", "attributes": [{"name": "key", "type": "String"},
    {"name": "value", "type": "Double"}, {"name": "platform", "type": "Int16"}],
   "relationships": [{"name": "category", "destination": "Category", "inverse": "sensors"}]}]})";

class NilSource : public engine::PropertySource {
 public:
  std::int64_t id() const override { return 1; }
  ManagedValue property(const std::vector<std::size_t>&, std::size_t) const override { return {}; }
};

std::vector<PredicateArgument> argumentsFor(std::string_view format) {
  using Placeholder = engine::PredicateNode::Placeholder;
  std::vector<PredicateArgument> arguments;
  for (const Placeholder placeholder : engine::parsePredicate(format)->placeholders) {
    if (placeholder == Placeholder::kKey) {
      arguments.emplace_back("key");
    } else if (placeholder == Placeholder::kAny) {
      arguments.emplace_back(arguments.size() % 2 == 0 ? PredicateArgument("text")
                                                       : PredicateArgument(nullptr));
    } else {
      arguments.emplace_back(7);
    }
  }
  return arguments;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto model = engine::modelFromText(kModel);
  const std::string_view format(reinterpret_cast<const char*>(data), size);
  try {
    const Predicate predicate(format, argumentsFor(format));
    const engine::EntityDescription& entity = *model->entityNamed("Sensor");
    const auto resolved = engine::resolve(predicate, *model, entity);
    engine::fetchSQL(*model, entity, &resolved, std::nullopt, false);
    engine::holds(resolved, NilSource());
  } catch (const PredicateError& error) {
    if (error.position() > size) {
      std::abort();
    }
  }
  return 0;
}
