#include <random>

#include "engine/PredicateEvaluator.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using engine::PersistentStoreCoordinator;

constexpr const char* kModel = R"({"entities": [
  {"name": "Box", "attributes": [{"name": "size", "type": "Int64"},
                                 {"name": "label", "type": "String"}],
   "relationships": [{"name": "things", "destination": "Thing", "inverse": "box",
                      "toMany": true},
                     {"name": "spares", "destination": "Thing", "inverse": "spareBox",
                      "toMany": true}]},
  {"name": "Thing", "attributes": [
     {"name": "whole", "type": "Int64"}, {"name": "small", "type": "Int16"},
     {"name": "real", "type": "Double"}, {"name": "text", "type": "String"},
     {"name": "flag", "type": "Boolean"}, {"name": "day", "type": "Date"},
     {"name": "bytes", "type": "Binary"}],
   "relationships": [{"name": "box", "destination": "Box", "inverse": "things"},
                     {"name": "spareBox", "destination": "Box", "inverse": "spares"}]}]})";

// Values near each other, so that the rules decide comparisons and not chance.
class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t bound) { return random_() % bound; }
  template <typename T>
  T oneOf(std::initializer_list<T> values) {
    return *(values.begin() + static_cast<std::ptrdiff_t>(below(values.size())));
  }
  ManagedValue number() {
    switch (below(4)) {
      case 0:
        return oneOf<double>({-1.5, 0.0, -0.0, 1.0, 2.0, 2.5, 9007199254740993.0, 1e300});
      case 1:
        return ManagedValue();
      default:
        return whole();
    }
  }
  ManagedValue whole() {
    return oneOf<std::int64_t>(
        {-2, -1, 0, 1, 2, 3, 7, 255, 9007199254740993, INT64_MAX, INT64_MIN});
  }
  ManagedValue text() {
    return std::string(oneOf<const char*>(
        {"", "a", "A", "ab", "aB", "ä", "a\xCC\x88", "b*c", "%", "a_b", "\xFF", "zebra"}));
  }
  ManagedValue day() {
    return ManagedDate(std::chrono::seconds(oneOf<int>({-5, 0, 1, 1700000000})));
  }
  ManagedValue bytes() {
    return oneOf<ManagedData>({{}, {std::byte{1}}, {std::byte{1}, std::byte{0}}});
  }
  ManagedValue orNil(ManagedValue value) { return below(4) == 0 ? ManagedValue() : value; }

  std::string predicate(std::vector<PredicateArgument>& arguments, int depth) {
    if (depth > 0 && below(2) == 0) {
      switch (below(3)) {
        case 0:
          return "NOT (" + predicate(arguments, depth - 1) + ")";
        default: {
          std::string left = "(" + predicate(arguments, depth - 1) + ")";
          const char* connective = oneOf<const char*>({" AND ", " OR "});
          return left + connective + "(" + predicate(arguments, depth - 1) + ")";
        }
      }
    }
    return comparison(arguments);
  }

 private:
  std::string argument(std::vector<PredicateArgument>& arguments, ManagedValue value) {
    arguments.emplace_back(orNil(std::move(value)));
    return "%@";
  }

  std::string bits(std::vector<PredicateArgument>& arguments) {
    const std::string both = std::string(oneOf<const char*>({"whole", "small", "flag"})) +
                             oneOf<const char*>({" & ", " | "}) + argument(arguments, whole());
    return oneOf<bool>({true, false}) ? "(" + both + ")" : "((" + both + "))";
  }

  std::string comparison(std::vector<PredicateArgument>& arguments) {
    const std::string ordered = oneOf<const char*>({" = ", " != ", " < ", " <= ", " > ", " >= "});
    const std::string equality = oneOf<const char*>({" = ", " != "});
    const std::string numeric =
        oneOf<const char*>({"whole", "small", "real", "flag", "box.size", "spareBox.size"});
    const std::string textual = oneOf<const char*>({"text", "box.label", "spareBox.label"});
    switch (below(10)) {
      case 0:
        return numeric + ordered + oneOf<const char*>({"whole", "real", "small", "1", "2.5"});
      case 1:
        return textual + ordered + argument(arguments, text());
      case 2: {
        const std::string operation =
            oneOf<const char*>({" BEGINSWITH", " ENDSWITH", " CONTAINS", " LIKE", " ="});
        const char* options = oneOf<const char*>({"[c] ", "[d] ", "[cd] ", " "});
        return textual + operation + options + argument(arguments, text());
      }
      case 3:
        return "day" + ordered + argument(arguments, day());
      case 4:
        return "bytes" + equality + argument(arguments, bytes());
      case 5:
        return bits(arguments) + ordered + oneOf<const char*>({"0", "1", "3"});
      case 6: {
        std::string list = numeric + " IN {";
        list += argument(arguments, number()) + ", 1, nil, ";
        return list + oneOf<const char*>({"whole", "2.5"}) + "}";
      }
      case 7: {
        PredicateArgument::List list;
        for (std::size_t i = below(4); i > 0; --i) {
          list.emplace_back(orNil(text()));
        }
        arguments.emplace_back(std::move(list));
        return textual + " IN %@";
      }
      case 8: {
        const std::string lower = argument(arguments, number());
        return numeric + " BETWEEN {" + lower + ", " + argument(arguments, number()) + "}";
      }
      default:
        return numeric + ordered + argument(arguments, number());
    }
  }

  std::mt19937 random_;
};

// Three contexts on the same values: one without unsaved changes, which asks SQL, one that has
// touched every thing and judges all of them in memory, and one that has touched the boxes.
class PredicateAgreementTest : public testing::StoreFixture {
 protected:
  PredicateAgreementTest() {
    std::filesystem::create_directories(folder());
    coordinator = std::make_shared<PersistentStoreCoordinator>(engine::modelFromText(kModel),
                                                               engine::EntityClasses());
    EXPECT_EQ(coordinator->addStore(storePath(), 1000), std::nullopt);
    saved = makeContext(coordinator, nullptr, std::make_unique<engine::PrivateContextQueue>());
    fill();
    EXPECT_EQ(saved->save(), std::nullopt);
    touched = saved->newChild();
    touchedThings = touchAll(*touched, "Thing", "small", ManagedValue(std::int64_t{77}));
    touchedBehind = saved->newChild();
    touchedBoxes = touchAll(*touchedBehind, "Box", "size", ManagedValue(std::int64_t{77}));
  }
  void fill() {
    std::vector<ManagedObjectPtr> boxes;
    for (int i = 0; i < 8; ++i) {
      boxes.push_back(saved->insertNewObject("Box"));
      boxes.back()->setAttribute("size", generator.orNil(generator.whole()));
      boxes.back()->setAttribute("label", generator.orNil(generator.text()));
    }
    for (std::size_t i = 0; i < kThings; ++i) {
      const ManagedObjectPtr thing = saved->insertNewObject("Thing");
      thing->setAttribute("whole", generator.orNil(generator.whole()));
      thing->setAttribute("small", ManagedValue(generator.oneOf<std::int64_t>({-1, 0, 1, 255})));
      thing->setAttribute("real", generator.number());
      thing->setAttribute("text", generator.orNil(generator.text()));
      thing->setAttribute("flag", generator.orNil(ManagedValue(generator.below(2) == 1)));
      thing->setAttribute("day", generator.orNil(generator.day()));
      thing->setAttribute("bytes", generator.orNil(generator.bytes()));
      for (const char* box : {"box", "spareBox"}) {
        thing->setRelated(box, generator.below(3) == 0 ? nullptr : boxes[generator.below(8)]);
      }
    }
  }
  static std::vector<ManagedObjectPtr> touchAll(ManagedObjectContext& context, const char* entity,
                                                const char* name, const ManagedValue& other) {
    std::vector<ManagedObjectPtr> objects = context.objectsOf(entity).value();
    for (const auto& object : objects) {
      const ManagedValue before = object->attribute(name);
      object->setAttribute(name, other);
      object->setAttribute(name, before);
      EXPECT_TRUE(object->isUpdated());
    }
    return objects;
  }
  // A value, a relationship and a deletion behind key paths and of the fetched objects.
  void changeSome(ManagedObjectContext& context) {
    const auto boxes = context.objectsOf("Box").value();
    boxes[generator.below(boxes.size())]->setAttribute("size", generator.whole());
    boxes[generator.below(boxes.size())]->setAttribute("label", generator.text());
    const auto things = context.objectsOf("Thing").value();
    const auto anyThing = [&] { return things[generator.below(things.size())]; };
    anyThing()->setAttribute("whole", generator.whole());
    anyThing()->setRelated("box", boxes[generator.below(boxes.size())]);
    context.deleteObject(anyThing());
    context.deleteObject(boxes[generator.below(boxes.size())]);
    const auto made = context.insertNewObject("Thing");
    made->setAttribute("text", generator.text());
    made->setRelated("spareBox", context.insertNewObject("Box"));
  }
  std::optional<SortDescriptor> order() {
    const auto key =
        generator.oneOf<const char*>({"", "whole", "real", "text", "flag", "day", "bytes",
                                      "box.size", "box.label", "spareBox.size", "spareBox.label"});
    return *key == '\0' ? std::nullopt
                        : std::optional(SortDescriptor{key, generator.below(2) == 0});
  }
  static std::optional<std::vector<std::int64_t>> ids(
      const std::optional<ManagedObjectContext::Objects>& objects) {
    if (!objects) {
      return std::nullopt;
    }
    std::vector<std::int64_t> ids;
    for (const auto& object : *objects) {
      ids.push_back(object->objectID());
    }
    return ids;
  }

  static constexpr std::size_t kThings = 60;
  const unsigned seed = testing::randomSeed();
  Generator generator{seed};
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
  ManagedObjectContextPtr saved;
  ManagedObjectContextPtr touched;
  ManagedObjectContextPtr touchedBehind;
  std::vector<ManagedObjectPtr> touchedThings;
  std::vector<ManagedObjectPtr> touchedBoxes;
};

struct Asked {
  Predicate predicate;
  std::optional<SortDescriptor> by;
};

TEST_F(PredicateAgreementTest, UnsavedChangesOfSomeObjectsMatchAsTheyDoOnceSaved) {
  SCOPED_TRACE(testing::seedNote(seed));
  std::vector<Asked> asked;
  for (int i = 0; i < 1000; ++i) {
    std::vector<PredicateArgument> arguments;
    const std::string format = generator.predicate(arguments, 3);
    asked.push_back({Predicate(format, arguments), order()});
  }
  const auto parent = saved->newChild();
  const auto child = parent->newChild();
  changeSome(*parent);
  changeSome(*child);
  std::vector<std::optional<std::vector<std::int64_t>>> unsaved;
  unsaved.reserve(asked.size());
  for (const Asked& one : asked) {
    unsaved.push_back(ids(child->objectsOf("Thing", one.predicate, one.by)));
  }
  child->saveThisAndParentContexts();
  ASSERT_FALSE(saved->hasChanges());
  for (std::size_t i = 0; i < asked.size(); ++i) {
    ASSERT_EQ(ids(saved->objectsOf("Thing", asked[i].predicate, asked[i].by)), unsaved[i])
        << asked[i].predicate.format();
  }
}

TEST_F(PredicateAgreementTest, StoredRowsAndObjectsInMemoryMatchAndSortAlike) {
  SCOPED_TRACE(testing::seedNote(seed));
  int matched = 0;
  for (int i = 0; i < 3000; ++i) {
    std::vector<PredicateArgument> arguments;
    const std::string format = generator.predicate(arguments, 3);
    const Predicate predicate(format, arguments);
    const auto by = order();
    const auto inSQL = ids(saved->objectsOf("Thing", predicate, by));
    ASSERT_EQ(ids(touched->objectsOf("Thing", predicate, by)), inSQL) << format;
    ASSERT_EQ(ids(touchedBehind->objectsOf("Thing", predicate, by)), inSQL) << format;
    matched += !inSQL || inSQL->empty() || inSQL->size() == kThings ? 0 : 1;
  }
  EXPECT_GT(matched, 500);
}

}  // namespace
}  // namespace kelvora
