#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "KelvoraCore/ZDModelInfo.h"

namespace kelvora {

/// A Mac that the library knows.
struct CatalogueModel {
  const char* identifier;  ///< "MacBookPro18,1"
  const char* name;        ///< "MacBook Pro 16-inch (M1 Pro)"
  std::int64_t year;
  ZDModelFamily family;
};

/// Every known model: by product, within a product mostly by age.
std::span<const CatalogueModel> modelCatalogue();

/// The model of an identifier, or null when the catalogue does not know it.
const CatalogueModel* catalogueModel(std::string_view identifier);

/// A new record of a model.
ZDModelInfo modelRecord(const CatalogueModel& model);

}  // namespace kelvora
