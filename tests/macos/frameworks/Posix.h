#pragma once

namespace kelvora::testing::mac {

/// Whether the program runs with raised rights.
void setRaisedRights(bool raised);

}  // namespace kelvora::testing::mac
