// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runnews.h"

/// What is said of runs, in French.
namespace runwords {
/// "Charge"
QString Name(RunNews::Kind kind);
/// "Charge terminée"; the cause is not in it.
QString Ended(RunNews::Kind kind, RunEnd::How how);
/// "1 h 12", "12 min" or "45 s".
QString Duration(double seconds);
/// "1480 mAh"
QString Capacity(double milliampereHours);
} // namespace runwords
