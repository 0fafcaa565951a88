// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <array>

/// The line that is laid through five known pack voltages: volts = (gain × count + 1000 × offset) / 1000000.
namespace lipo {
constexpr int pointCount = 5;
constexpr int mostCells = 4;

/// The reference voltages of a pack of 1 to 4 cells, the highest first.
std::array<double, pointCount> References(int cells);

/// What stands on the buttons of these points.
std::array<QString, pointCount> Captions(int cells);

/// A calibration point and what it says by itself.
struct Point
{
    double volts = 0;
    double count = 0;
    double gain = 0;   ///< microvolts per count, up to the next point; of the last one over the whole range
    double offset = 0; ///< millivolts; the last point has none
};
using Table = std::array<Point, pointCount>;

struct Coefficients
{
    double gain;   ///< microvolts per count
    double offset; ///< millivolts
};

/// Fills in the gains and offsets of the points; two neighbours, or the first and the last, with the same count throw
/// DivisionByZero.
Coefficients Compute(Table &points);

/// Whether both coefficients fit the two bytes that the board keeps of each.
bool FitTwoBytes(const Coefficients &coefficients);
} // namespace lipo
