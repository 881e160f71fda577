#pragma once

namespace kelvora {

/// In the folder that the product's programs share.
inline constexpr char kStoreFileName[] = "Database.sqlite";

}  // namespace kelvora
