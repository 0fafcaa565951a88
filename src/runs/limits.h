// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <QString>

#include <optional>

/// How far a run has come.
struct Progress
{
    std::optional<double> temperature; ///< of the board in °C; nothing while it is not calibrated
    double seconds;
    double milliampereHours;
};

/// What the user allows a run at most; nothing where he sets no limit.
struct Limits
{
    std::optional<int> temperature; ///< °C
    std::optional<int> minutes;
    std::optional<int> milliampereHours;

    struct Range
    {
        int least, most, usual;
    };
    static constexpr Range temperatures{20, 100, 60};
    static constexpr Range durations{1, 9999, 240};
    static constexpr Range capacities{1, 99999, 2000};

    /// The first limit that is reached, in words; empty while none is.
    QString Reached(const Progress &progress) const;
};

/// What flows in a run and how long it lasts, by this program's clock: the board's begins anew at midnight, and what is
/// counted by it goes back then.
class Flow
{
public:
    /// This current has flowed since the last call.
    void Add(double amperes);

    double Seconds() const;
    double MilliampereHours() const;

private:
    Stopwatch whole_;
    Stopwatch part_;
    double milliampereSeconds_ = 0;
};
