// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace Board {

struct CurvePoint
{
    double charge; ///< state of charge, 1 is full
    double volts;
};

/// A smooth curve through points that rise, which never rises or falls between two points more than they do: the
/// monotone cubic of F. N. Fritsch and R. E. Carlson, "Monotone piecewise cubic interpolation", SIAM J. Numer. Anal. 17
/// (1980) 238. It goes on as a straight line at both ends.
class Curve
{
public:
    explicit Curve(std::span<const CurvePoint> points);

    double At(double charge) const;
    double First() const { return first_; } ///< where the points begin

private:
    struct Knot
    {
        double volts;
        double slope; // volts per step
    };

    static constexpr std::size_t steps = 1024;
    double first_;
    double perStep_;
    std::vector<Knot> knots_; // evenly spaced, so that a look-up needs no search
};

} // namespace Board
