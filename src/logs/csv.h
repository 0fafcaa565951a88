// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "log.h"

#include <QByteArray>

/// A log as battery-analysis tools read it: comma-separated values with point decimals.
namespace csv {
/// A line of names, then one for each record; each ended by a line feed. The columns are those of `names`; of a
/// monitor's log, whose words have no known units, only time, step and cycle have values, and the words follow under
/// their own names.
QByteArray Of(const Log &log);

/// The columns, in this order. Currents of a discharge are negative. The capacity is what has gone in since the run
/// began, less what has gone out.
inline constexpr const char *names[] = {"Time [s]",    "Step",          "Cycle",          "Current [A]",
                                        "Voltage [V]", "Capacity [Ah]", "Temperature [C]"};
} // namespace csv
