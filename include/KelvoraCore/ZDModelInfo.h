#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The product family of a Mac.
enum ZDModelFamily : std::int64_t {
  ZDModelFamilyUnknown = 0,
  ZDModelFamilyMacBook = 1,
  ZDModelFamilyMacBookPro = 2,
  ZDModelFamilyMacBookAir = 3,
  ZDModelFamilyIMac = 4,
  ZDModelFamilyIMacPro = 5,
  ZDModelFamilyMacPro = 6,
  ZDModelFamilyMacMini = 7,
  ZDModelFamilyXserve = 8,
  ZDModelFamilyMacStudio = 9,
};

/// The byte order of a processor.
enum ZDEndianness : std::int64_t {
  ZDEndiannessLittle = 0,
  ZDEndiannessBig = 1,
  ZDEndiannessUnknown = 2,
};

/// The size of a screen in points, e.g. 1680 by 1050.
struct KELVORA_EXPORT ZDResolution {
  double width = 0;
  double height = 0;

  friend bool operator==(const ZDResolution&, const ZDResolution&) = default;
};

/// Which Mac this is.
struct KELVORA_EXPORT ZDModelInfo {
  std::string modelId;                     ///< "MacBookPro18,1"; empty when the system has none
  std::optional<std::string> modelNumber;  ///< the order number, e.g. "Z12N0004VLL/A"
  std::optional<std::string> name;         ///< "MacBook Pro 16-inch (M1 Pro)"
  std::int64_t year = 0;                   ///< of the model; 0 when unknown
  std::int64_t family = ZDModelFamilyUnknown;
  ZDResolution displayResolution;  ///< of the main screen, in points; 0 by 0 without a screen
  std::optional<std::string> serial;
  std::optional<std::string> physicalMemory;  ///< left unset by the catalogue
  std::int64_t endianness = ZDEndiannessLittle;

  /// A record with only these three fields set.
  static ZDModelInfo objectWithName(std::optional<std::string> name, std::int64_t year,
                                    std::int64_t family);

  /// "MacBook Pro", "Mac Mini", "Unknown"; none for an iMac Pro and for families above 8, the Mac
  /// Studio among them.
  std::optional<std::string> familyName() const;
  /// The name of the family's image among the host application's: "ico_macbookpro_5thgen".
  std::string familyIcon() const;
  /// Whether the model is of 2018 or later; an approximation, whatever the family.
  bool isT2ChipSupport() const;
};

}  // namespace kelvora
