#pragma once

#include <cstdint>
#include <string>

namespace kelvora {

class Platform;

/// The machine whose fans a lease has: a Mac's model, e.g. "MacBookPro15,1", or the title of a
/// recorded one: "MacBook Pro 15-inch 2018 (recorded)". Any thread.
std::string machineOf(Platform& platform);

/// Where the machine of a lease is.
enum class LeaseMachine : std::uint8_t {
  kThis,     ///< the platform's own; also that of a lease that names none
  kAnother,  ///< its fans are not the platform's, and must not be written by its tool
  kGone,     ///< it has no fans that could be handed back here
};

/// A recorded Mac is gone when the account has chosen another one, or none: the speeds that its
/// fans were given went with the choice. For a Mac, another model is gone: its lease came with a
/// copied home folder. Any thread.
LeaseMachine whereIs(Platform& platform, const std::string& machine);

}  // namespace kelvora
