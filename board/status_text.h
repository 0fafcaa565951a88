// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controller.h"

#include <string>

namespace Board {

/// The true values of the moment, one "name value" per line: what instruments clipped to the board and the pack would
/// show. Numbers have a point and no unit; the names say the unit.
std::string StatusText(const Controller &board);

} // namespace Board
