// SPDX-License-Identifier: GPL-3.0-or-later
#include "battery.h"

#include "random.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

constexpr double chargeSpread = 0.5;     // how much the cells differ in their charge, of how much in their capacity
constexpr double resistanceSpread = 2.0; // the same of their resistance
constexpr std::uint64_t spreadSeedOffset = 0xCE11;

} // namespace

Battery::Battery(const PackOptions &options) : options_(options), preset_(PresetOf(options.chemistry))
{
    const double ohms = options.packResistanceOhms > 0 ? options.packResistanceOhms / options.cells
                                                       : ResistanceOf(preset_, options.capacityAmpHours);
    Random random(options.seed + spreadSeedOffset);
    for (int cell = 0; cell < (options.spread > 0 ? options.cells : 1); ++cell) {
        const auto spread = [&] { return options.spread * random.Triangular(2); };
        const double strength = std::max(0.2, 1 + spread());
        const double charge = options.stateOfCharge + chargeSpread * spread();
        cells_.emplace_back(preset_,
                            CellHistory{.capacityAmpHours = options.capacityAmpHours,
                                        .resistanceOhms = ohms * std::max(0.2, 1 + resistanceSpread * spread()),
                                        .strength = strength,
                                        .stateOfCharge = std::clamp(charge, 0.0, 1.0),
                                        .celsius = options.ambientCelsius,
                                        .restDays = options.restDays,
                                        .cycles = options.cycles});
    }
}

void Battery::Pass(double seconds, double amps)
{
    for (Cell &cell : cells_)
        cell.Pass(seconds, amps, options_.ambientCelsius, fan_);
    (amps > 0 ? chargedAmpHours_ : dischargedAmpHours_) += std::abs(amps) * seconds / 3600.0;
}

double Battery::Mean(double (Cell::*value)() const) const
{
    double sum = 0;
    for (const Cell &cell : cells_)
        sum += (cell.*value)();
    return sum / static_cast<double>(cells_.size());
}

double Battery::Volts(double amps) const
{
    double sum = 0;
    for (const Cell &cell : cells_)
        sum += cell.Volts(amps);
    return sum * options_.cells / static_cast<double>(cells_.size());
}

double Battery::StateOfCharge() const
{
    return Mean(&Cell::StateOfCharge);
}

double Battery::Celsius() const
{
    return Mean(&Cell::Celsius);
}

double Battery::ResistanceOhms() const
{
    return Mean(&Cell::ResistanceOhms) * options_.cells;
}

double Battery::CapacityAmpHours() const
{
    const auto weakest = std::min_element(cells_.begin(), cells_.end(), [](const Cell &a, const Cell &b) {
        return a.CapacityAmpHours() < b.CapacityAmpHours();
    });
    return weakest->CapacityAmpHours();
}

bool Battery::CanDischarge() const
{
    return std::any_of(cells_.begin(), cells_.end(), [](const Cell &cell) { return !cell.IsDrained(); });
}

} // namespace Board
