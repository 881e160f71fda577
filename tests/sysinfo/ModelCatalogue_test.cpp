#include "sysinfo/ModelCatalogue.h"

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/ZDSystemDevice.h"

namespace kelvora {
namespace {

// identifier|name|year|family, as the models were listed for the product.
std::vector<std::string> listedModels() {
  std::ifstream file(KELVORA_TEST_DATA "/sysinfo/models.txt");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string line(const std::string& identifier, const ZDModelInfo& model) {
  return identifier + '|' + model.name.value_or("") + '|' + std::to_string(model.year) + '|' +
         std::to_string(model.family);
}

TEST(ModelCatalogue, HoldsThe72ListedModelsInTheirOrder) {
  std::vector<std::string> lines;
  for (const CatalogueModel& model : modelCatalogue()) {
    lines.push_back(line(model.identifier, modelRecord(model)));
  }
  EXPECT_EQ(lines.size(), 72U);
  EXPECT_EQ(lines, listedModels());
}

TEST(ModelCatalogue, NamesNoModelTwice) {
  std::set<std::string> identifiers;
  for (const CatalogueModel& model : modelCatalogue()) {
    EXPECT_TRUE(identifiers.insert(model.identifier).second) << model.identifier;
  }
}

TEST(ModelCatalogue, TheDictionaryHoldsEveryModel) {
  const auto models = ZDSystemDevice::defaultModelDict();
  EXPECT_EQ(models.size(), 72U);
  for (const CatalogueModel& model : modelCatalogue()) {
    ASSERT_TRUE(models.contains(model.identifier)) << model.identifier;
    EXPECT_EQ(line(model.identifier, models.at(model.identifier)),
              line(model.identifier, modelRecord(model)));
  }
}

TEST(ModelCatalogue, EveryDictionaryIsANewOne) {
  auto models = ZDSystemDevice::defaultModelDict();
  models.at("Macmini6,1").name = "changed";
  EXPECT_EQ(ZDSystemDevice::defaultModelDict().at("Macmini6,1").name, "Mac mini");
}

TEST(ModelCatalogue, KeepsTheRowsThatLookWrong) {
  const auto models = ZDSystemDevice::defaultModelDict();
  EXPECT_EQ(models.at("MacPro6,1").year, 2016);
  EXPECT_EQ(models.at("iMac21,1").name, models.at("iMac21,2").name);
}

TEST(ModelCatalogue, AnIdentifierMustMatchWhole) {
  EXPECT_NE(catalogueModel("MacBookPro18,3"), nullptr);
  EXPECT_EQ(catalogueModel("MacBookPro18"), nullptr);
  EXPECT_EQ(catalogueModel("macbookpro18,3"), nullptr);
  EXPECT_EQ(catalogueModel(""), nullptr);
}

}  // namespace
}  // namespace kelvora
