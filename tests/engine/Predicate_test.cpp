#include "KelvoraCore/Predicate.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PredicateTest : public testing::StoreFixture {
 protected:
  PredicateTest() {
    const auto temperature = addCategory(*store, "Temperature", 0);
    add("TC0P", "Ärger", 60.5, 1, temperature);
    add("TG0P", "gpu", 70, 2, temperature);
    add("0", "Fan", 1200, 3, addCategory(*store, "Fan", 1));
    const auto bare = store->createSensorWithKey("bare", store->viewContext());
    bare->setPlatform(4);
    store->saveViewContext();
  }
  void add(const char* key, const char* name, double value, std::int16_t platformMask,
           const KVCategoryPtr& category) {
    const auto sensor = addSensor(*store, key, category);
    sensor->setName(name);
    sensor->setValue(value);
    sensor->setPlatform(platformMask);
    sensor->setAverage(value > 65);
  }
  std::vector<std::string> match(const char* format,
                                 std::vector<PredicateArgument> arguments = {}) {
    const auto found =
        store->viewContext()->objectsOf("Sensor", Predicate(format, std::move(arguments)));
    if (!found) {
      return {"<none>"};
    }
    std::vector<std::string> keys;
    for (const auto& object : *found) {
      keys.push_back(std::get<std::string>(object->attribute("key")));
    }
    return keys;
  }
  std::unique_ptr<KVCoreDataStore> store = makeStore();
};

TEST_F(PredicateTest, ComparesAttributesWithValues) {
  EXPECT_THAT(match("key = %@", {"TC0P"}), ElementsAre("TC0P"));
  EXPECT_THAT(match("key == 'TC0P'"), ElementsAre("TC0P"));
  EXPECT_THAT(match("value > %f", {65.0}), ElementsAre("TG0P", "0"));
  EXPECT_THAT(match("value => 70 && value =< 70"), ElementsAre("TG0P"));
  EXPECT_THAT(match("60.5 < value"), ElementsAre("TG0P", "0"));
  EXPECT_THAT(match("value <> 0 and value BETWEEN {60, 71}"), ElementsAre("TC0P", "TG0P"));
  EXPECT_THAT(match("value BETWEEN %@", {PredicateArgument::List{60, 61}}), ElementsAre("TC0P"));
  EXPECT_THAT(match("average = YES"), ElementsAre("TG0P", "0"));
  EXPECT_THAT(match("value = -1"), IsEmpty());
  EXPECT_THAT(match("%K = %@", {"category.name", "Fan"}), ElementsAre("0"));
  EXPECT_THAT(match("TRUEPREDICATE").size(), 4);
  EXPECT_THAT(match("FALSEPREDICATE"), IsEmpty());
}

TEST_F(PredicateTest, CombinesConditions) {
  EXPECT_THAT(match("category.type = %d && sourceType != %d", {1, 2}), ElementsAre("0"));
  EXPECT_THAT(match("value = 70 OR value = 1200 AND key = '0'"), ElementsAre("TG0P", "0"));
  EXPECT_THAT(match("(value = 70 OR value = 1200) AND key = '0'"), ElementsAre("0"));
  EXPECT_THAT(match("NOT (key BEGINSWITH 'T') && !(key = '0')"), ElementsAre("bare"));
}

TEST_F(PredicateTest, NilIsAValue) {
  EXPECT_THAT(match("name = nil"), ElementsAre("bare"));
  EXPECT_THAT(match("name == %@", {nullptr}), ElementsAre("bare"));
  EXPECT_THAT(match("name != NULL"), ElementsAre("TC0P", "TG0P", "0"));
  EXPECT_THAT(match("name != 'gpu'"), ElementsAre("TC0P", "0", "bare"));
  EXPECT_THAT(match("NOT name < 'zzz'"), ElementsAre("TC0P", "bare"));
  EXPECT_THAT(match("category.type != 0"), ElementsAre("0", "bare"));
  EXPECT_THAT(match("category = nil"), ElementsAre("bare"));
}

TEST_F(PredicateTest, TestsBits) {
  EXPECT_THAT(match("(platform & 1) != 0"), ElementsAre("TC0P", "0"));
  EXPECT_THAT(match("platform & %d = %d", {3, 3}), ElementsAre("0"));
  EXPECT_THAT(match("(platform | 1) = 5"), ElementsAre("bare"));
}

TEST_F(PredicateTest, ListsAreNeitherOperandsOfBitsNorElementsOfLists) {
  for (const char* format :
       {"{}&{}=8", "{1} | {2} = 3", "platform & {1} = 1", "nil & {} = nil", "platform IN {{}}",
        "platform IN {1, {2}}", "platform BETWEEN {{1}, 2}", "{} = {}", "{1} = 1", "platform = {1}",
        "platform IN 1", "{} IN {}", "{} CONTAINS 'a'"}) {
    EXPECT_THAT(match(format), ElementsAre("<none>")) << format;
  }
  const PredicateArgument::List list{1};
  EXPECT_THAT(match("platform & %@ = 1", {list}), ElementsAre("<none>"));
  EXPECT_THAT(match("platform IN {%@, 2}", {list}), ElementsAre("<none>"));
  EXPECT_THAT(match("platform IN %@", {PredicateArgument::List{PredicateArgument(list)}}),
              ElementsAre("<none>"));
  EXPECT_THAT(match("nil & platform = nil").size(), 4);
}

TEST_F(PredicateTest, ParenthesesEncloseOperandsAndConditionsToAnyDepth) {
  EXPECT_THAT(match("((value)) == 70"), ElementsAre("TG0P"));
  EXPECT_THAT(match("((platform & 1)) != 0"), ElementsAre("TC0P", "0"));
  EXPECT_THAT(match("((platform & 3) | 8) = (((9)))"), ElementsAre("TC0P"));
  EXPECT_THAT(match("(((platform)) & 3 = 3)"), ElementsAre("0"));
  EXPECT_THAT(match("((value) = 70 OR (value = 1200)) AND ((key) = '0')"), ElementsAre("0"));
  EXPECT_THAT(match("((value = 70) OR value = 1200)"), ElementsAre("TG0P", "0"));
  EXPECT_THAT(match("((value = 70 AND key = '0') OR value = 1200)"), ElementsAre("0"));
  EXPECT_THAT(match("((NOT key = '0') AND (!(value = 70)))"), ElementsAre("TC0P", "bare"));
  EXPECT_THAT(match("((TRUEPREDICATE) AND (FALSEPREDICATE OR (-1) < value))").size(), 4);
  EXPECT_THAT(match("((%K)) = %d AND (%d) < ((%K))", {"value", 70, 1, "platform"}),
              ElementsAre("TG0P"));
}

TEST_F(PredicateTest, ComparesTexts) {
  EXPECT_THAT(match("key BEGINSWITH 'TC'"), ElementsAre("TC0P"));
  EXPECT_THAT(match("key ENDSWITH %@", {"0P"}), ElementsAre("TC0P", "TG0P"));
  EXPECT_THAT(match("name CONTAINS 'P'"), IsEmpty());
  EXPECT_THAT(match("name CONTAINS[c] 'P'"), ElementsAre("TG0P"));
  EXPECT_THAT(match("name BEGINSWITH[cd] 'arg'"), ElementsAre("TC0P"));
  EXPECT_THAT(match("name ENDSWITH[c] 'PU'"), ElementsAre("TG0P"));
  EXPECT_THAT(match("name =[c] 'GPU'"), ElementsAre("TG0P"));
  EXPECT_THAT(match("key LIKE 'T?0*'"), ElementsAre("TC0P", "TG0P"));
  EXPECT_THAT(match("key MATCHES 'T[A-C].+'"), ElementsAre("TC0P"));
  EXPECT_THAT(match("key MATCHES '('"), IsEmpty());
  EXPECT_THAT(match("key MATCHES 'tc.+'"), IsEmpty());
  EXPECT_THAT(match("key MATCHES[c] 'tc.+'"), ElementsAre("TC0P"));
  store->getSensorByKey("bare")->setName("two\nlines");
  EXPECT_THAT(match("name LIKE 'two*lines'"), ElementsAre("bare"));
}

TEST_F(PredicateTest, TestsMembership) {
  EXPECT_THAT(match("key IN {'0', \"bare\"}"), ElementsAre("0", "bare"));
  EXPECT_THAT(match("key IN %@", {PredicateArgument::List{"TC0P", "x"}}), ElementsAre("TC0P"));
  EXPECT_THAT(match("name IN %@", {PredicateArgument::List{"gpu", nullptr}}),
              ElementsAre("TG0P", "bare"));
  EXPECT_THAT(match("key IN %@", {PredicateArgument::List{}}), IsEmpty());
  EXPECT_THAT(match("NOT key IN {'0', 'bare'}"), ElementsAre("TC0P", "TG0P"));
  const auto sensor = store->getSensorByKey("0");
  EXPECT_THAT(match("SELF = %@", {sensor}), ElementsAre("0"));
  EXPECT_THAT(match("NOT SELF IN %@", {PredicateArgument::List{sensor}}).size(), 3);
  EXPECT_THAT(match("category = %@", {sensor->category()}), ElementsAre("0"));
}

TEST_F(PredicateTest, OneTextTakesArgumentsOfEveryKind) {
  EXPECT_THAT(match("name == %@", {"gpu"}), ElementsAre("TG0P"));
  EXPECT_THAT(match("name == %@", {nullptr}), ElementsAre("bare"));
  EXPECT_THAT(match("name == %@", {1}), ElementsAre("<none>"));
  EXPECT_THAT(match("%K = %@", {"key", "0"}), ElementsAre("0"));
  EXPECT_THAT(match("%K = %@", {"name", "gpu"}), ElementsAre("TG0P"));
  const Predicate twoMatch("key BEGINSWITH 'T'");
  EXPECT_NE(store->sensorWhere(twoMatch, store->viewContext()), nullptr);
  EXPECT_EQ(store->viewContext()->objectsOf("Sensor", twoMatch)->size(), 2U);
}

TEST_F(PredicateTest, APlaceholderMayNameTheLengthOfItsNumber) {
  EXPECT_THAT(match("platform = %hd || platform = %qu", {2, 3}), ElementsAre("TG0P", "0"));
  EXPECT_THAT(match("value < %lf && platform > %hhi && platform < %lld", {100.0, 0, 2}),
              ElementsAre("TC0P"));
}

TEST_F(PredicateTest, ABackslashTakesTheNextCharacterAsItIsOrMakesABlank) {
  add("quoted", "it's \"so\" \\\n\t\r", 0, 0, nullptr);
  EXPECT_THAT(match(R"(name = 'it\'s "so" \\\n\t\r')"), ElementsAre("quoted"));
  EXPECT_THAT(match(R"(name = "it's \"so\" \\\n\t\r")"), ElementsAre("quoted"));
}

TEST_F(PredicateTest, TheEnginesOwnColumnsAreNotAttributes) {
  EXPECT_THAT(match("_category_order > 0"), ElementsAre("<none>"));
  EXPECT_THAT(match("_id > 0"), ElementsAre("<none>"));
}

TEST_F(PredicateTest, ANameMayHaveAnyLetter) {
  EXPECT_THAT(match("À_ÿ.ž中 = 1"), ElementsAre("<none>"));  // no such name, but a name
}

TEST_F(PredicateTest, ANumberSignLeadsANameThatIsAKeyword) {
  EXPECT_THAT(match("#value > 65"), ElementsAre("TG0P", "0"));
  EXPECT_THAT(match("#nil = 1"), ElementsAre("<none>"));
}

TEST_F(PredicateTest, AHostilePatternEndsWithoutAMatch) {
  EXPECT_FALSE(engine::textMatches(engine::TextOperation::kMatches, {},
                                   std::string(2000, 'a') + "b", "(a+)+"));
}

TEST_F(PredicateTest, APatternIsGivenUpAfterSoManySteps) {
  const auto matches = [](std::size_t length) {
    return engine::textMatches(engine::TextOperation::kMatches, {}, std::string(length, 'a'),
                               "(a+)+b|a*");
  };
  EXPECT_TRUE(matches(10));
  // Some millions of steps before the second alternative would match.
  EXPECT_FALSE(matches(20));
  EXPECT_TRUE(engine::textMatches(engine::TextOperation::kMatches, {},
                                  std::string(1000, 'a') + "b" + std::string(1000, 'c'), ".*b.*c"));
}

TEST_F(PredicateTest, ValuesNeverBecomePartOfTheStatement) {
  EXPECT_THAT(match("key = %@", {"' OR 1=1 --"}), IsEmpty());
  EXPECT_THAT(match("key = '\\' OR 1=1 --'"), IsEmpty());
  EXPECT_THAT(match("%K = 1", {"value\" OR 1=1 --"}), ElementsAre("<none>"));
}

TEST_F(PredicateTest, ALookUpByKeyUsesTheIndex) {
  const auto& coordinator = *store->persistentStoreCoordinator();
  const auto& entity = *coordinator.model().entityNamed("Sensor");
  const auto resolved =
      engine::resolve(Predicate("key = %@", {"TC0P"}), coordinator.model(), entity);
  const auto sql = engine::fetchSQL(coordinator.model(), entity, &resolved, std::nullopt, true);
  SQLite::Database database(storePath());
  SQLite::Statement explain(database, "EXPLAIN QUERY PLAN " + sql.text);
  ASSERT_TRUE(explain.executeStep());
  EXPECT_THAT(explain.getColumn(3).getString(), ::testing::HasSubstr("Sensor_key"));
}

struct BadText {
  const char* format;
  std::size_t position;
};

void PrintTo(const BadText& text, std::ostream* out) { *out << text.format; }

class BadPredicate : public ::testing::TestWithParam<BadText> {};

TEST_P(BadPredicate, IsAnErrorWithItsPlace) {
  try {
    const Predicate predicate(GetParam().format);
    FAIL() << GetParam().format;
  } catch (const PredicateError& error) {
    EXPECT_EQ(error.position(), GetParam().position) << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, BadPredicate,
    ::testing::Values(BadText{"", 0}, BadText{"key", 3}, BadText{"key =", 5},
                      BadText{"key = 'x", 6}, BadText{"(key = 1", 8}, BadText{"key = 1)", 7},
                      BadText{"key ~ 1", 4}, BadText{"key = 1 AND", 11}, BadText{"key = %z", 6},
                      BadText{"a BETWEEN {1}", 10}, BadText{"a..b = 1", 0}, BadText{"a = 1.2.3", 4},
                      BadText{"a = 1-2", 5}, BadText{"a = 1e-", 4}, BadText{"a =[x] 'b'", 4},
                      BadText{"a IN {1, 2", 10}, BadText{"a <[c] 'b'", 4}, BadText{"((a)", 4},
                      BadText{"((a)) = 1)", 9}, BadText{"((a = 1) = 1)", 9}, BadText{"()", 1},
                      BadText{"@count = 1", 0}, BadText{"((a) b = 1)", 5},
                      BadText{"(a + 1) = 2", 3}));

TEST(Predicate, NestingIsBounded) {
  EXPECT_THROW(Predicate(std::string(100000, '(')), PredicateError);
  EXPECT_THROW(Predicate(std::string(100000, '!')), PredicateError);
  EXPECT_NO_THROW(Predicate("((((a = 1))))"));
  const auto nested = [](std::size_t depth) {
    return "a = 1 AND " + std::string(depth, '(') + "a" + std::string(depth, ')') + " = 1";
  };
  EXPECT_NO_THROW(Predicate(nested(90)));
  EXPECT_THROW(Predicate(nested(110)), PredicateError);
}

TEST(Predicate, ArgumentsMustFitThePlaceholders) {
  EXPECT_THROW(Predicate("a = %d"), PredicateError);
  EXPECT_THROW(Predicate("a = 1", {1}), PredicateError);
  EXPECT_THROW(Predicate("a = %d", {"text"}), PredicateError);
  EXPECT_THROW(Predicate("%K = 1", {1}), PredicateError);
  EXPECT_EQ(Predicate("a = %lld", {1}).format(), "a = %lld");
}

}  // namespace
}  // namespace kelvora
