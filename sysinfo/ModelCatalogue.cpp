#include "sysinfo/ModelCatalogue.h"

#include <algorithm>

namespace kelvora {

namespace {

constexpr CatalogueModel kModels[] = {
    {"Macmini6,1", "Mac mini", 2012, ZDModelFamilyMacMini},
    {"Macmini6,2", "Mac mini", 2012, ZDModelFamilyMacMini},
    {"Macmini7,1", "Mac mini", 2014, ZDModelFamilyMacMini},
    {"Macmini8,1", "Mac mini", 2018, ZDModelFamilyMacMini},
    {"Macmini9,1", "Mac mini (M1)", 2020, ZDModelFamilyMacMini},
    {"Mac13,1", "Mac Studio (M1 Max)", 2022, ZDModelFamilyMacStudio},
    {"Mac13,2", "Mac Studio (M1 Ultra)", 2022, ZDModelFamilyMacStudio},
    {"MacPro5,1", "Mac Pro", 2010, ZDModelFamilyMacPro},
    {"MacPro6,1", "Mac Pro", 2016, ZDModelFamilyMacPro},
    {"MacPro7,1", "Mac Pro", 2019, ZDModelFamilyMacPro},
    {"iMac12,1", "iMac 27-inch", 2011, ZDModelFamilyIMac},
    {"iMac13,1", "iMac 21.5-inch", 2012, ZDModelFamilyIMac},
    {"iMac13,2", "iMac 27-inch", 2012, ZDModelFamilyIMac},
    {"iMac14,2", "iMac 27-inch", 2013, ZDModelFamilyIMac},
    {"iMac15,1", "iMac 27-inch", 2014, ZDModelFamilyIMac},
    {"iMac17,1", "iMac 27-inch", 2015, ZDModelFamilyIMac},
    {"iMac18,1", "iMac 21.5-inch", 2017, ZDModelFamilyIMac},
    {"iMac18,2", "iMac 21.5-inch", 2017, ZDModelFamilyIMac},
    {"iMac18,3", "iMac 27-inch", 2017, ZDModelFamilyIMac},
    {"iMac19,1", "iMac 27-inch", 2019, ZDModelFamilyIMac},
    {"iMac20,1", "iMac 27-inch", 2020, ZDModelFamilyIMac},
    {"iMac20,2", "iMac 27-inch", 2020, ZDModelFamilyIMac},
    {"iMac21,1", "iMac 24-inch (M1)", 2021, ZDModelFamilyIMac},
    {"iMac21,2", "iMac 24-inch (M1)", 2021, ZDModelFamilyIMac},
    {"iMacPro1,1", "iMac Pro", 2017, ZDModelFamilyIMacPro},
    {"MacBook8,1", "MacBook", 2015, ZDModelFamilyMacBook},
    {"MacBook9,1", "MacBook", 2016, ZDModelFamilyMacBook},
    {"MacBook10,1", "MacBook", 2017, ZDModelFamilyMacBook},
    {"MacBookAir5,1", "MacBook Air 11-inch", 2012, ZDModelFamilyMacBookAir},
    {"MacBookAir5,2", "MacBook Air 13-inch", 2012, ZDModelFamilyMacBookAir},
    {"MacBookAir6,1", "MacBook Air 11-inch", 2014, ZDModelFamilyMacBookAir},
    {"MacBookAir6,2", "MacBook Air 13-inch", 2014, ZDModelFamilyMacBookAir},
    {"MacBookAir7,1", "MacBook Air 11-inch", 2015, ZDModelFamilyMacBookAir},
    {"MacBookAir7,2", "MacBook Air 13-inch", 2015, ZDModelFamilyMacBookAir},
    {"MacBookAir8,1", "MacBook Air 13-inch", 2018, ZDModelFamilyMacBookAir},
    {"MacBookAir8,2", "MacBook Air 13-inch", 2019, ZDModelFamilyMacBookAir},
    {"MacBookAir9,1", "MacBook Air 13-inch", 2020, ZDModelFamilyMacBookAir},
    {"MacBookAir10,1", "MacBook Air 13-inch (M1)", 2020, ZDModelFamilyMacBookAir},
    {"Mac14,2", "MacBook Air 13-inch (M2)", 2022, ZDModelFamilyMacBookAir},
    {"MacBookPro9,1", "MacBook Pro 15-inch", 2012, ZDModelFamilyMacBookPro},
    {"MacBookPro9,2", "MacBook Pro 13-inch", 2012, ZDModelFamilyMacBookPro},
    {"MacBookPro10,1", "MacBook Pro 15-inch", 2012, ZDModelFamilyMacBookPro},
    {"MacBookPro10,2", "MacBook Pro 13-inch", 2012, ZDModelFamilyMacBookPro},
    {"MacBookPro11,1", "MacBook Pro 13-inch", 2014, ZDModelFamilyMacBookPro},
    {"MacBookPro11,2", "MacBook Pro 15-inch", 2014, ZDModelFamilyMacBookPro},
    {"MacBookPro11,3", "MacBook Pro 15-inch", 2014, ZDModelFamilyMacBookPro},
    {"MacBookPro11,4", "MacBook Pro 15-inch", 2015, ZDModelFamilyMacBookPro},
    {"MacBookPro11,5", "MacBook Pro 15-inch", 2015, ZDModelFamilyMacBookPro},
    {"MacBookPro12,1", "MacBook Pro 13-inch", 2015, ZDModelFamilyMacBookPro},
    {"MacBookPro13,1", "MacBook Pro 13-inch", 2016, ZDModelFamilyMacBookPro},
    {"MacBookPro13,2", "MacBook Pro 13-inch", 2016, ZDModelFamilyMacBookPro},
    {"MacBookPro13,3", "MacBook Pro 15-inch", 2016, ZDModelFamilyMacBookPro},
    {"MacBookPro14,1", "MacBook Pro 13-inch", 2017, ZDModelFamilyMacBookPro},
    {"MacBookPro14,2", "MacBook Pro 13-inch", 2017, ZDModelFamilyMacBookPro},
    {"MacBookPro14,3", "MacBook Pro 15-inch", 2017, ZDModelFamilyMacBookPro},
    {"MacBookPro15,1", "MacBook Pro 15-inch", 2018, ZDModelFamilyMacBookPro},
    {"MacBookPro15,2", "MacBook Pro 13-inch", 2019, ZDModelFamilyMacBookPro},
    {"MacBookPro15,3", "MacBook Pro 15-inch", 2019, ZDModelFamilyMacBookPro},
    {"MacBookPro15,4", "MacBook Pro 13-inch", 2019, ZDModelFamilyMacBookPro},
    {"MacBookPro16,1", "MacBook Pro 16-inch", 2019, ZDModelFamilyMacBookPro},
    {"MacBookPro16,2", "MacBook Pro 13-inch", 2019, ZDModelFamilyMacBookPro},
    {"MacBookPro16,3", "MacBook Pro 13-inch", 2020, ZDModelFamilyMacBookPro},
    {"MacBookPro17,1", "MacBook Pro 13-inch (M1)", 2020, ZDModelFamilyMacBookPro},
    {"MacBookPro18,1", "MacBook Pro 16-inch (M1 Pro)", 2021, ZDModelFamilyMacBookPro},
    {"MacBookPro18,2", "MacBook Pro 16-inch (M1 Max)", 2021, ZDModelFamilyMacBookPro},
    {"MacBookPro18,3", "MacBook Pro 14-inch (M1 Pro)", 2021, ZDModelFamilyMacBookPro},
    {"MacBookPro18,4", "MacBook Pro 14-inch (M1 Max)", 2021, ZDModelFamilyMacBookPro},
    {"Mac14,7", "MacBook Pro 13-inch (M2)", 2022, ZDModelFamilyMacBookPro},
    {"Mac14,5", "MacBook Pro 14-inch (M2 Max)", 2023, ZDModelFamilyMacBookPro},
    {"Mac14,6", "MacBook Pro 16-inch (M2 Max)", 2023, ZDModelFamilyMacBookPro},
    {"Mac14,9", "MacBook Pro 14-inch (M2 Pro)", 2023, ZDModelFamilyMacBookPro},
    {"Mac14,10", "MacBook Pro 16-inch (M2 Pro)", 2023, ZDModelFamilyMacBookPro},
};

}  // namespace

std::span<const CatalogueModel> modelCatalogue() { return kModels; }

const CatalogueModel* catalogueModel(std::string_view identifier) {
  const auto* const found =
      std::find_if(std::begin(kModels), std::end(kModels),
                   [&](const CatalogueModel& model) { return identifier == model.identifier; });
  return found == std::end(kModels) ? nullptr : found;
}

ZDModelInfo modelRecord(const CatalogueModel& model) {
  return ZDModelInfo::objectWithName(model.name, model.year, model.family);
}

}  // namespace kelvora
