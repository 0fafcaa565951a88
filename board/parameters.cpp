// SPDX-License-Identifier: GPL-3.0-or-later
#include "parameters.h"

#include "memories.h"

namespace Board {

std::size_t ParameterCount(std::uint8_t command, bool booster)
{
    switch (command) {
    case 15:
    case 16:
    case 17:
    case 18:
    case 19:
    case 20:
    case 21:
    case 22:
    case 23:
    case 24:
    case 25:
    case 37:
    case 38:
        return 1;
    case 39:
    case 40:
    case 45:
    case 46:
        return 2;
    case 42:
    case 49:
        return 3;
    case 48:
    case 50:
        return 4;
    case 47:
        return 2 + Memories::flashBlock;
    case 51:
        return booster ? 4 : 1;
    default:
        return 0;
    }
}

} // namespace Board
