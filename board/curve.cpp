// SPDX-License-Identifier: GPL-3.0-or-later
#include "curve.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

/// The value and slope of the cubic between two points, `share` of the way from the one to the other.
struct Piece
{
    double low, high;           // volts
    double lowSlope, highSlope; // volts per unit of share

    double Value(double share) const
    {
        const double rise = high - low;
        return low + share * (lowSlope + share * (3 * rise - 2 * lowSlope - highSlope +
                                                  share * (lowSlope + highSlope - 2 * rise)));
    }
    double Slope(double share) const
    {
        const double rise = high - low;
        return lowSlope +
               share * (2 * (3 * rise - 2 * lowSlope - highSlope) + 3 * share * (lowSlope + highSlope - 2 * rise));
    }
};

/// The slopes at the points, as small as keeps every piece monotone.
std::vector<double> Slopes(std::span<const CurvePoint> points)
{
    const std::size_t last = points.size() - 1;
    const auto secant = [&points](std::size_t i) {
        return (points[i + 1].volts - points[i].volts) / (points[i + 1].charge - points[i].charge);
    };
    std::vector<double> slopes(points.size());
    slopes.front() = secant(0);
    slopes.back() = secant(last - 1);
    for (std::size_t i = 1; i < last; ++i) {
        const double before = secant(i - 1);
        const double after = secant(i);
        slopes[i] = before * after <= 0 ? 0 : 2 * before * after / (before + after);
    }
    return slopes;
}

} // namespace

Curve::Curve(std::span<const CurvePoint> points)
    : first_(points.front().charge), perStep_((points.back().charge - first_) / static_cast<double>(steps))
{
    const std::vector<double> slopes = Slopes(points);
    knots_.reserve(steps + 1);
    std::size_t at = 0;
    for (std::size_t step = 0; step <= steps; ++step) {
        const double charge = first_ + perStep_ * static_cast<double>(step);
        while (at + 2 < points.size() && points[at + 1].charge < charge)
            ++at;
        const CurvePoint &low = points[at];
        const CurvePoint &high = points[at + 1];
        const double width = high.charge - low.charge;
        const Piece piece{low.volts, high.volts, slopes[at] * width, slopes[at + 1] * width};
        const double share = std::clamp((charge - low.charge) / width, 0.0, 1.0);
        knots_.push_back({piece.Value(share), piece.Slope(share) / width * perStep_});
    }
}

double Curve::At(double charge) const
{
    const double place = (charge - first_) / perStep_;
    if (place <= 0)
        return knots_.front().volts + place * knots_.front().slope;
    if (place >= static_cast<double>(steps))
        return knots_.back().volts + (place - static_cast<double>(steps)) * knots_.back().slope;
    const auto step = static_cast<std::size_t>(place);
    const Knot &low = knots_[step];
    const Knot &high = knots_[step + 1];
    return Piece{low.volts, high.volts, low.slope, high.slope}.Value(place - static_cast<double>(step));
}

} // namespace Board
