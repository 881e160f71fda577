// Any text as the model of a store: it is refused with a reason, or is written and read again as
// the same model. A program reads such texts from its resources and from store files.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "engine/ModelFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvora::engine;
  std::string problem;
  const auto model =
      modelFromText(std::string_view(reinterpret_cast<const char*>(data), size), &problem);
  if ((model != nullptr) != problem.empty()) {
    std::abort();
  }
  if (model == nullptr) {
    return 0;
  }
  const auto again = modelFromText(textFromModel(*model));
  if (again == nullptr || textFromModel(*again) != textFromModel(*model) ||
      !isAdditiveChange(*model, *again)) {
    std::abort();
  }
  return 0;
}
