#include "tools/kelvora/ByteText.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

std::string byteText(double bytes, double step) {
  constexpr std::array kUnits{" bytes", " KB", " MB", " GB", " TB", " PB", " EB"};
  std::size_t unit = 0;
  while (std::abs(bytes) >= step && unit + 1 < kUnits.size()) {
    bytes /= step;
    ++unit;
  }
  return decimalText(bytes) + kUnits.at(unit);
}

}  // namespace

std::string decimalText(double number) {
  std::string digits = fixedText(number, 2);
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.ends_with('.')) {
    digits.pop_back();
  }
  return digits;
}

std::string decimalByteText(double bytes) { return byteText(bytes, 1000); }

std::string binaryByteText(double bytes) { return byteText(bytes, 1024); }

}  // namespace kelvora::tool
