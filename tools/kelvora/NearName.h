#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kelvora::tool {

/// The name that somebody meant who wrote `word`: the one with the fewest letters that are missing,
/// wrong, too many or exchanged with their neighbour. None when that is more than a third of the
/// word, at least one letter. E.g. "sensrs" among the commands gives "sensors".
std::optional<std::string> nearName(std::string_view word, std::span<const std::string> names);

}  // namespace kelvora::tool
