// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "world.h"

/// Leaves out of a story that ends in a violation what it does not need: the shortest that was found within some
/// seconds and still ends in the same violation.
Outcome Shrink(const Order &order, const Outcome &story);
