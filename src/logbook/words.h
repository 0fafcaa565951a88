// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runentry.h"

/// What the logbook says of runs, in French.
namespace words {
QString Kind(RunNews::Kind kind);
QString End(const RunEntry &run);
/// "74 % de la capacité nominale"; empty while the nominal capacity is not known.
QString Share(double milliampereHours, int nominal);
/// How such a run went last time with a pack, and, of one that is on, how far it has come; empty when there is nothing
/// to say. `now` is in milliampere-hours.
QString Progress(const std::optional<LastTime> &last, int nominal, const std::optional<double> &now);
} // namespace words
