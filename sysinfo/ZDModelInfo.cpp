#include "KelvoraCore/ZDModelInfo.h"

#include <array>
#include <cstddef>
#include <limits>
#include <utility>

namespace kelvora {

namespace {

// By family value. The iMac Pro and everything above the Xserve have no name of their own.
constexpr std::array<const char*, 9> kFamilyNames = {"Unknown",     "MacBook",  "MacBook Pro",
                                                     "MacBook Air", "iMac",     nullptr,
                                                     "Mac Pro",     "Mac Mini", "Xserve"};

constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kForever = std::numeric_limits<std::int64_t>::max();

struct FamilyIcon {
  std::int64_t family;
  std::int64_t firstYear;
  std::int64_t lastYear;
  const char* image;
};

constexpr const char* kOtherIcon = "ico_macbook";

// The first row that holds decides.
constexpr FamilyIcon kFamilyIcons[] = {
    {ZDModelFamilyMacBookPro, kEver, 2020, "ico_macbookpro"},
    {ZDModelFamilyMacBookPro, 2021, kForever, "ico_macbookpro_5thgen"},
    {ZDModelFamilyMacBookAir, kEver, 2021, "ico_macbookair"},
    {ZDModelFamilyMacBookAir, 2022, kForever, "ico_macbookair_4thgen"},
    {ZDModelFamilyIMac, kEver, kForever, "ico_imac"},
    {ZDModelFamilyIMacPro, kEver, kForever, "ico_imacpro"},
    {ZDModelFamilyMacPro, 2019, 2019, "ico_macpro_2019"},
    {ZDModelFamilyMacPro, kEver, kForever, "ico_macpro"},
    {ZDModelFamilyMacMini, kEver, kForever, "ico_macmini"},
    {ZDModelFamilyMacStudio, kEver, kForever, "ico_macstudio"},
};

}  // namespace

ZDModelInfo ZDModelInfo::objectWithName(std::optional<std::string> name, std::int64_t year,
                                        std::int64_t family) {
  ZDModelInfo info;
  info.name = std::move(name);
  info.year = year;
  info.family = family;
  return info;
}

std::optional<std::string> ZDModelInfo::familyName() const {
  if (family < 0 || family >= std::ssize(kFamilyNames)) {
    return std::nullopt;
  }
  const char* known = kFamilyNames[static_cast<std::size_t>(family)];
  return known == nullptr ? std::nullopt : std::optional<std::string>(known);
}

std::string ZDModelInfo::familyIcon() const {
  for (const FamilyIcon& icon : kFamilyIcons) {
    if (icon.family == family && icon.firstYear <= year && year <= icon.lastYear) {
      return icon.image;
    }
  }
  return kOtherIcon;
}

bool ZDModelInfo::isT2ChipSupport() const { return year >= 2018; }

}  // namespace kelvora
