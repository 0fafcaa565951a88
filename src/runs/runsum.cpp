// SPDX-License-Identifier: GPL-3.0-or-later
#include "runsum.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
template <class Choose>
std::optional<double> Chosen(std::optional<double> first, std::optional<double> second, Choose choose)
{
    return first && second ? choose(*first, *second) : first ? first : second;
}

std::optional<double> Lower(std::optional<double> first, std::optional<double> second)
{
    return Chosen(first, second, [](double one, double other) { return std::min(one, other); });
}

std::optional<double> Higher(std::optional<double> first, std::optional<double> second)
{
    return Chosen(first, second, [](double one, double other) { return std::max(one, other); });
}
} // namespace

void RunSum::Add(const RunPoint &point)
{
    const double before = point.milliampereHours < inPhase_ ? 0 : inPhase_; // a new count
    const double flowed = point.milliampereHours - before;
    inPhase_ = point.milliampereHours;
    const double wattHours = flowed * point.volts / 1000;
    if (std::signbit(point.amperes)) { // a discharge of nothing is one all the same
        figures_.milliampereHoursOut += flowed;
        figures_.wattHoursOut += wattHours;
        outInPhase_ += flowed;
    } else {
        figures_.milliampereHoursIn += flowed;
        figures_.wattHoursIn += wattHours;
    }
    figures_.seconds = point.seconds;
    if (!std::isnan(point.temperature))
        figures_.highestTemperature = Higher(figures_.highestTemperature, point.temperature);
    figures_.lowestVolts = Lower(figures_.lowestVolts, point.volts);
    figures_.highestVolts = Higher(figures_.highestVolts, point.volts);
    if (point.resistance > 0)
        figures_.resistance = point.resistance;
}

void RunSum::EndPhase()
{
    inPhase_ = 0;
    if (const double out = std::exchange(outInPhase_, 0); out > 0)
        figures_.capacity = out;
}

RunFigures RunSum::Joined(const RunFigures &first, const RunFigures &second)
{
    RunFigures whole;
    whole.milliampereHoursIn = first.milliampereHoursIn + second.milliampereHoursIn;
    whole.milliampereHoursOut = first.milliampereHoursOut + second.milliampereHoursOut;
    whole.wattHoursIn = first.wattHoursIn + second.wattHoursIn;
    whole.wattHoursOut = first.wattHoursOut + second.wattHoursOut;
    whole.seconds = first.seconds + second.seconds;
    whole.highestTemperature = Higher(first.highestTemperature, second.highestTemperature);
    whole.lowestVolts = Lower(first.lowestVolts, second.lowestVolts);
    whole.highestVolts = Higher(first.highestVolts, second.highestVolts);
    whole.resistance = second.resistance ? second.resistance : first.resistance;
    whole.capacity = second.capacity ? second.capacity : first.capacity;
    return whole;
}
