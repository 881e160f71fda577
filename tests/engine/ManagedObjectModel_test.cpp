#include <gtest/gtest.h>
#include <sys/stat.h>

#include "engine/ModelFile.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::engine {
namespace {

std::string entity(const std::string& inside) {
  return R"({"entities": [{"name": "A", )" + inside + "}]}";
}

// An entity with an ordered relationship to itself.
std::string related(const std::string& inside) {
  return entity(R"("attributes": [{"name": "x", "type": "Int16"}], "relationships": [
      {"name": "many", "destination": "A", "inverse": "one", "toMany": true, "ordered": true},
      {"name": "one", "destination": "A", "inverse": "many"}], )" +
                inside);
}

TEST(ManagedObjectModel, AWholeDefaultBeyondTheWidestIntegerIsADecimalNumber) {
  const auto model = modelFromText(entity(R"("attributes": [{"name": "x", "type": "Double",
                                "default": 18446744073709551615}])"));
  ASSERT_NE(model, nullptr);
  EXPECT_EQ(model->entity(0).columns[0].defaultValue, ManagedValue(18446744073709551616.0));
}

TEST(ManagedObjectModel, ATextOfAModelReadsBackAsTheSameModel) {
  const auto model = modelFromFile(KELVORA_TEST_DATA "/../store/Database.momd");
  ASSERT_NE(model, nullptr);
  const std::string text = textFromModel(*model);
  const auto again = modelFromText(text);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(textFromModel(*again), text);
  EXPECT_TRUE(isAdditiveChange(*model, *again));
}

TEST(ManagedObjectModel, ContradictionsAreRefusedWithWhatIsWrong) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {entity(R"("attributes": [{"name": "x", "type": "Colour"}])"), "unknown attribute type"},
      {entity(R"("attributes": [{"name": "_x", "type": "String"}])"), "not a name"},
      {entity(R"("attributes": [{"name": "x\"; DROP", "type": "String"}])"), "not a name"},
      {entity(R"("attributes": [{"name": "x", "type": "Int16", "default": 40000}])"), "default"},
      {entity(R"("attributes": [{"name": "x", "type": "Int16"}, {"name": "x", "type": "Int16"}])"),
       "exists twice"},
      {entity(R"("indexes": [["x"]])"), "no property"},
      {entity(R"("relationships": [{"name": "r", "destination": "B", "inverse": "s"}])"),
       "no entity"},
      {entity(R"("relationships": [{"name": "r", "destination": "A", "inverse": "r"}])"),
       "not inverse"},
      {entity(R"("relationships": [
        {"name": "r", "destination": "A", "inverse": "s", "toMany": true, "deleteRule": "deny"},
        {"name": "s", "destination": "A", "inverse": "r"}])"),
       "unknown delete rule"},
      {entity(R"("attributes": [{"name": "x", "type": "Int16"}],
                 "indexes": [{"columns": ["x"], "batchRows": 10}])"),
       "in batches"},
      {entity(R"("relationships": [
        {"name": "r", "destination": "A", "inverse": "s", "toMany": true},
        {"name": "s", "destination": "A", "inverse": "r", "ordered": true}])"),
       "belong to the to-many side"},
      {entity(R"("relationships": [
        {"name": "r", "destination": "A", "inverse": "s", "toMany": true},
        {"name": "s", "destination": "A", "inverse": "r", "deleteRule": "cascade"}])"),
       "belong to the to-many side"},
      {entity(R"("attributes": {"a": {"name": "x", "type": "Int16"}})"), "not a list"},
      {entity(R"("relationships": "r")"), "not a list"},
      {entity(R"("indexes": {"x": ["x"]})"), "not a list"},
      {R"({"entities": {"a": {"name": "A"}}})", "not a list"},
      {entity(R"("attributes": [{"name": "x", "type": "Int16"}], "indexes": [{"columns": "x"}])"),
       "not a list"},
      {entity(R"("attributes": [{"name": "x", "type": "Int16"}], "indexes": ["x"])"),
       "without columns"},
      {entity(R"("indexes": [[]])"), "without columns"},
      {related(R"("indexes": [["_one_order"]])"), "no property \"_one_order\""},
      {related(R"("indexes": [{"columns": ["one"], "batchRows": -1}])"), "number of rows"},
      {related(R"("indexes": [{"columns": ["one"], "batchRows": 1.5}])"), "number of rows"},
      {related(R"("indexes": [{"columns": ["one"], "batchRows": 5},
                              {"columns": ["one", "x"], "batchRows": 5}])"),
       "one index in batches"},
      {related(R"("indexes": [["x"], ["x"]])"), "\"A_x\" exists twice"},
      {R"({"entities": [{"name": "T"}, {"name": "t"}]})", "\"t\" exists twice"},
      {R"({"entities": [{"name": "A", "attributes": [{"name": "x", "type": "Int16"}],
                         "indexes": [["x"]]}, {"name": "a_X"}]})",
       "\"a_X\" exists twice"},
      {R"({"entities": [{"name": "SQLite_x"}]})", "not a name"},
      {entity(R"("attributes": [{"name": "x", "type": "Int16"}, {"name": "X", "type": "Int16"}])"),
       "exists twice"},
      {entity(R"("attributes": [{"name": "x", "type": "Int64",
                                 "default": 18446744073709551615}])"),
       "default"},
      {entity(R"("attributes": [{"name": "x", "type": "String", "default": "a\u0000b"}])"),
       "zero byte"},
  };
  for (const auto& [text, expected] : cases) {
    std::string problem;
    EXPECT_EQ(modelFromText(text, &problem), nullptr) << text;
    EXPECT_NE(problem.find(expected), std::string::npos) << problem;
  }
}

TEST(ManagedObjectModel, AnUnreadableFileGivesNoModel) {
  std::string problem;
  EXPECT_EQ(modelFromFile("/nowhere/Database.momd", &problem), nullptr);
  EXPECT_NE(problem, "");
  EXPECT_EQ(modelFromFile("/tmp"), nullptr);
}

TEST(ManagedObjectModel, APipeWithoutAWriterGivesNoModel) {
  const testing::TemporaryFolder folder;
  const std::string path = folder.path("Database.momd");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(modelFromFile(path), nullptr);
}

TEST(ManagedObjectModel, ValuesTakeTheTypeOfTheirAttribute) {
  EXPECT_EQ(valueOfType(AttributeType::kDouble, std::int64_t{3}), ManagedValue(3.0));
  EXPECT_EQ(valueOfType(AttributeType::kBoolean, std::int64_t{1}), ManagedValue(true));
  EXPECT_EQ(valueOfType(AttributeType::kBoolean, std::int64_t{2}), std::nullopt);
  EXPECT_EQ(valueOfType(AttributeType::kInt16, true), ManagedValue(std::int64_t{1}));
  EXPECT_EQ(valueOfType(AttributeType::kInt16, std::int64_t{-32768}),
            ManagedValue(std::int64_t{-32768}));
  EXPECT_EQ(valueOfType(AttributeType::kInt16, std::int64_t{32768}), std::nullopt);
  EXPECT_EQ(valueOfType(AttributeType::kString, 1.0), std::nullopt);
  EXPECT_EQ(valueOfType(AttributeType::kString, ManagedValue()), ManagedValue());
}

}  // namespace
}  // namespace kelvora::engine
