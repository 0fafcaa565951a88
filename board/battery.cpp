#include "battery.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

constexpr double polarisationSeconds = 300.0; // while charging or resting
constexpr double dischargePolarisationSeconds = 1800.0;
constexpr double surfaceSeconds = 1800.0;
constexpr double bumpSeconds = 8.0;             // how fast the early bump follows the current
constexpr double bumpCharge = 0.006;            // share of the capacity that activates rested electrodes
constexpr double restSeconds = 3600.0;          // how fast resting electrodes lose their activation
constexpr double fallSeconds = 100.0;           // how fast the electrodes heat once they make gas
constexpr double fallRate = 0.2;                // gassing rate, in C, beyond which the fall grows no more
constexpr double heatCapacityPerAmpHour = 13.0; // J/K: 27 g and 0.95 J/(g·K) for a cell of 2 Ah
constexpr double coolingSeconds = 1400.0;       // a pack in still air
constexpr double fanCooling = 3.0;              // how many times better with the fan on
constexpr double convectionKelvin = 60.0;       // excess at which natural convection has doubled
constexpr double gassingVolts = 1.45;           // all of it becomes heat when the cell takes no more charge
constexpr double drainedMargin = 0.0005;

/// Where a state with the time constant is after the seconds, when it moves towards the target.
double Approach(double state, double target, double seconds, double timeConstant)
{
    return target + (state - target) * std::exp(-seconds / timeConstant);
}

} // namespace

Battery::Battery(const PackOptions &options)
    : options_(options)
    , preset_(PresetOf(options.chemistry))
    , resistance_(options.packResistanceOhms > 0 ? options.packResistanceOhms / options.cells
                                                 : preset_.resistanceAmpHours / options.capacityAmpHours)
    , heatCapacity_(heatCapacityPerAmpHour * options.capacityAmpHours)
    , charge_(options.stateOfCharge)
    , celsius_(options.ambientCelsius)
{
}

double Battery::OpenCircuitVolts() const
{
    const auto curve = preset_.openCircuit;
    const auto above = std::find_if(curve.begin() + 1, curve.end() - 1,
                                    [this](const CurvePoint &point) { return point.charge >= charge_; });
    const CurvePoint &high = *above;
    const CurvePoint &low = *(above - 1);
    return low.volts + (high.volts - low.volts) * (charge_ - low.charge) / (high.charge - low.charge);
}

double Battery::RefusedShare() const
{
    return std::exp(-std::max(0.0, 1.0 - charge_) / preset_.acceptanceWidth);
}

double Battery::Volts(double amps) const
{
    const double cell = OpenCircuitVolts() + polarisation_ + surface_ + bump_ - fall_ -
                        preset_.temperatureCoefficient * (celsius_ - 25.0) + amps * resistance_;
    return std::max(0.0, cell * options_.cells);
}

bool Battery::CanDischarge() const
{
    return charge_ > preset_.openCircuit.front().charge + drainedMargin;
}

double Battery::HeatWatts(double amps) const
{
    const double ohmic = amps * amps * resistance_ + std::abs(amps * polarisation_);
    if (amps <= 0)
        return ohmic;
    const double refused = RefusedShare();
    return ohmic + amps * (preset_.reversibleHeat * (1.0 - refused) + gassingVolts * refused);
}

void Battery::Pass(double seconds, double amps)
{
    const double rate = Rate(amps);
    const bool charging = amps > 0;
    const double refused = charging ? RefusedShare() : 0.0;

    const double excess = celsius_ - options_.ambientCelsius;
    const double cooling = (fan_ ? fanCooling : 1.0) * (1.0 + std::abs(excess) / convectionKelvin) / coolingSeconds;
    celsius_ =
        options_.ambientCelsius + Approach(excess, HeatWatts(amps) / heatCapacity_ / cooling, seconds, 1.0 / cooling);

    const double polarisationTarget = rate * (charging ? preset_.chargePolarisation : preset_.dischargePolarisation);
    polarisation_ = Approach(polarisation_, polarisationTarget, seconds,
                             amps < 0 ? dischargePolarisationSeconds : polarisationSeconds);
    surface_ = Approach(surface_, rate * preset_.surfacePolarisation, seconds, surfaceSeconds);

    const double bumpTarget = charging ? preset_.earlyBump * freshness_ * (1.0 - std::exp(-2.0 * rate)) : 0.0;
    bump_ = Approach(bump_, bumpTarget, seconds, charging ? bumpSeconds : polarisationSeconds);
    freshness_ = charging ? freshness_ * std::exp(-rate * seconds / 3600.0 / bumpCharge)
                          : Approach(freshness_, 1.0, seconds, restSeconds);

    const double fallTarget = preset_.overchargeFall * (1.0 - std::exp(-rate * refused * refused * refused / fallRate));
    fall_ = charging ? Approach(fall_, fallTarget, seconds, fallSeconds)
                     : Approach(fall_, 0.0, seconds, polarisationSeconds);

    charge_ = std::clamp(charge_ + rate * (1.0 - refused) * seconds / 3600.0, preset_.openCircuit.front().charge, 1.0);
    (charging ? chargedAmpHours_ : dischargedAmpHours_) += std::abs(amps) * seconds / 3600.0;
}

} // namespace Board
