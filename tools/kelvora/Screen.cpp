#include "tools/kelvora/Screen.h"

#include <algorithm>

namespace kelvora::tool {

std::size_t scrolled(std::size_t first, Key::Kind key, std::size_t last, std::size_t page) {
  switch (key) {
    case Key::Kind::kUp:
      return first - std::min<std::size_t>(first, 1);
    case Key::Kind::kPageUp:
      return first - std::min(first, page);
    case Key::Kind::kHome:
      return 0;
    case Key::Kind::kDown:
      return std::min(first + 1, last);
    case Key::Kind::kPageDown:
      return std::min(first + page, last);
    case Key::Kind::kEnd:
      return last;
    default:
      return first;
  }
}

}  // namespace kelvora::tool
