// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// The decisions of a capacity measurement that need neither the board nor a window.
namespace capacity {
/// How many cycles a text asks for: the whole part of its leading number, at least 1.
int Cycles(const QString &text);

/// Volts per cell to two decimals, cut towards minus infinity; no cells throw DivisionByZero.
double CellVolts(double volts, double cells);

/// What a battery's voltage drops by when it is loaded, in thousandths; throws Overflow beyond signed 16 bits.
qint16 Resistance(double loadedVolts, double unloadedVolts);

/// Whole milliampere-hours of a current integrated over seconds.
double MilliampereHours(double ampereSeconds);

/// What the state label shows in second `k` of a pause, 0 to pauseSeconds - 1.
QString Countdown(int k);
constexpr int pauseSeconds = 120;

/// How long a phase has lasted, for the state frame.
QString DurationText(qint64 seconds);
constexpr qint64 longPhaseSeconds = qint64(16) * 3600;

/// The amplifier's offset while a charge goes on: a count that nears the end of the converter's range takes a sixteenth
/// off it.
int LoweredOffset(int offset);
constexpr int highestDeltaCount = 1000;

/// A delta count above this is in the range in which a charge can be followed.
constexpr int placedDeltaCount = 700;

/// Ends a charge: its delta count has fallen by more than `fall` below its highest.
class DeltaFall
{
public:
    static constexpr int fall = 5;

    /// True when the count has fallen far enough.
    bool Add(int count);

    /// The amplifier was moved: counts before and after do not compare.
    void Restart() { highest_ = 0; }

private:
    int highest_ = 0;
};

/// What the board's temperature asks for, in whole degrees.
constexpr bool FanNeeded(double temperature)
{
    return temperature > 50;
}
constexpr bool FanNoLongerNeeded(double temperature)
{
    return temperature < 45;
}
constexpr bool Overheated(double temperature)
{
    return temperature > 90;
}
constexpr bool CooledDown(double temperature)
{
    return temperature < 86;
}
} // namespace capacity
