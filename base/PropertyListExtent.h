#pragma once

#include <cstddef>
#include <span>

namespace kelvora {

/// Whether a binary property list unfolds to far more than its bytes: libplist reads an object as
/// often as the list refers to it, so that a few hundred bytes can take all memory. True for more
/// values than the list has bytes and 65,536 more, for more than 16 times its bytes and 1 MB of
/// texts and data, and for more than 500 levels. False for an XML list, which has no references.
/// Takes time by the bytes, not by what they unfold to. Any thread.
bool propertyListUnfoldsTooFar(std::span<const std::byte> bytes);

}  // namespace kelvora
