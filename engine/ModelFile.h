#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "engine/ManagedObjectModel.h"

namespace kelvora::engine {

/// Reads a model from its JSON text; docs/store.md describes the format. Null when the text is
/// malformed or contradicts itself: `problem`, if given, then says what is wrong.
std::shared_ptr<ManagedObjectModel> modelFromText(std::string_view text,
                                                  std::string* problem = nullptr);

/// The same from a file; also null when the file cannot be read.
std::shared_ptr<ManagedObjectModel> modelFromFile(const std::string& path,
                                                  std::string* problem = nullptr);

/// The model as the JSON text that a store file carries, so that a later program knows what wrote
/// it.
std::string textFromModel(const ManagedObjectModel& model);

}  // namespace kelvora::engine
