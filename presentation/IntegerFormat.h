#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kelvora {

/// The text of a host's table with a number in place of its placeholder: ("%d cores", 10) gives
/// "10 cores". The first of "%d", "%i" or "%u" is the placeholder; it may have a position, a width
/// and a length ("%1$d", "%2ld"), of which the width is ignored. "%%" is a percent sign, and
/// everything else stays as it is: the text is never given to printf.
std::string formattedWithInteger(std::string_view format, std::int32_t number);

}  // namespace kelvora
