// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runentry.h"

/// Sums up what a run tells. What flows is what the points say has flowed, in each phase on its own; the energy is that
/// at the voltage of the moment.
class RunSum
{
public:
    void Add(const RunPoint &point);
    /// A phase has come to its end, or the run by its rule: what it took out of the battery was all there was.
    void EndPhase();

    /// All but the capacity may still grow; the seconds are those of the last point.
    const RunFigures &Figures() const { return figures_; }

    /// What two parts of a run amount to, one after the other.
    static RunFigures Joined(const RunFigures &first, const RunFigures &second);

private:
    RunFigures figures_;
    double inPhase_ = 0; ///< milliampere-hours of the phase, whichever way
    double outInPhase_ = 0;
};
