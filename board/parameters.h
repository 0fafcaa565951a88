// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

namespace Board {

/// Bytes that follow a command byte. Boards with a booster take more behind command 51.
std::size_t ParameterCount(std::uint8_t command, bool booster);

} // namespace Board
