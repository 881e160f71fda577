#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvora::tool {

/// The emphasis of a text on a screen. Without colours the last three are plain or bold.
enum class Tone : std::uint8_t {
  kPlain,
  kTitle,    ///< a bar in reverse
  kHeading,  ///< bold
  kFaint,
  kGood,  ///< green
  kWarm,  ///< yellow
  kHot,   ///< red
};

/// A text in its place on a line. UTF-8 without control characters.
struct Span {
  std::size_t column = 0;
  std::string text;
  Tone tone = Tone::kPlain;

  friend bool operator==(const Span&, const Span&) = default;
};

using ScreenLine = std::vector<Span>;

/// The lines of a screen from the top; lines and columns without text are blank.
using Screen = std::vector<ScreenLine>;

/// What a person pressed.
struct Key {
  enum class Kind : std::uint8_t {
    kCharacter,  ///< `text` is the character, in UTF-8
    kUp,
    kDown,
    kPageUp,
    kPageDown,
    kHome,
    kEnd,
    kEnter,
    kBackspace,
    kEscape,
    kOther,
  };
  Kind kind = Kind::kOther;
  std::string text;
};

/// The line at the top of a view after a key: that of before, moved by a line, a page or to an end.
/// It is at most `last`; `page` is how many lines fit.
std::size_t scrolled(std::size_t first, Key::Kind key, std::size_t last, std::size_t page);

}  // namespace kelvora::tool
