// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runnews.h"

#include <optional>

/// What a run amounts to.
struct RunFigures
{
    double milliampereHoursIn = 0;
    double milliampereHoursOut = 0;
    double wattHoursIn = 0;
    double wattHoursOut = 0;
    double seconds = 0;
    std::optional<double> highestTemperature; ///< °C; none while the board is not calibrated for it
    std::optional<double> lowestVolts;
    std::optional<double> highestVolts;
    std::optional<double> resistance; ///< milliohms, as it was measured last
    std::optional<double> capacity;   ///< milliampere-hours of the last discharge that went to its end
};

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
