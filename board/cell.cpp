// SPDX-License-Identifier: GPL-3.0-or-later
#include "cell.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

constexpr double zeroCelsius = 273.15;
constexpr double usualCelsius = 25.0;

constexpr double coldKelvin = 2500.0; // how steeply resistance and over-voltages grow with 1/T
constexpr double doublingKelvin = 20.0;
constexpr double thermalVolts = 0.0514; // 2 RT/F

constexpr double activationSeconds = 10.0;
constexpr double slowSeconds = 100.0;
constexpr double surfaceSeconds = 1500.0;
constexpr double bumpSeconds = 8.0;       // how fast the short false peak follows the current
constexpr double bumpRestSeconds = 300.0; // how fast it goes when the current stops
constexpr double gasSeconds = 40.0;       // how fast gas and its pressure build up
constexpr double bumpCharge = 0.006;      // share of the capacity that activates rested electrodes
constexpr double passiveCharge = 0.05;    // the same after months
constexpr double passiveDays = 12.0;      // how fast electrodes get passive
constexpr double hysteresisCharge = 0.01; // share of the capacity in which one branch becomes the other
constexpr double restSeconds = 3600.0;    // how fast resting electrodes lose their activation
constexpr double gassingRate = 0.035;     // gas current, in C, that has raised the voltage by two thirds
constexpr double fallRate = 0.10;         // current, in C, at which the voltage falls by two thirds of what it may
constexpr double earlyLossWidth = 0.10;   // share of the capacity
constexpr double emptyOhms = 0.5;         // how much larger the resistance of an empty cell is
constexpr double emptyWidth = 0.06;
constexpr double agedCycles = 500.0; // after which the resistance has doubled

constexpr double heatCapacityPerAmpHour = 13.0; // J/K: 27 g and 0.95 J/(g·K) for a cell of 2 Ah
constexpr double coolingSeconds = 560.0;        // in still air, near the air's temperature
constexpr double fanCooling = 3.0;              // how many times better with the fan on
constexpr double convectionKelvin = 60.0;       // excess at which natural convection has doubled
constexpr double canSeconds = 120.0;            // how fast the can and the thermistor on it follow the core
constexpr double canShare = 0.88;               // of the core's excess that the can has
constexpr double gassingVolts = 1.45;           // all of it becomes heat when the cell takes no more charge

constexpr double ventingCelsius = 75.0;
constexpr double ventedPerSecond = 1e-5; // share of the capacity, per kelvin above that
constexpr double driedPerSecond = 3e-5;  // the same of the resistance

constexpr double drainedMargin = 0.0005;
constexpr double daySeconds = 86400.0;
constexpr double youngSeconds = daySeconds / 2;
constexpr double monthSeconds = 30 * daySeconds;
constexpr double hourSeconds = 3600.0;
constexpr double triplingKelvin = 15.0; // three times the self-discharge at 40 °C

double Arrhenius(double kelvinConstant, double celsius)
{
    return std::exp(kelvinConstant * (1 / (celsius + zeroCelsius) - 1 / (usualCelsius + zeroCelsius)));
}

/// exp(-x) for the small x of a step under a current, to a millionth.
double Shrink(double x)
{
    return x < 0.01 ? 1 - x * (1 - x * (0.5 - x / 6)) : std::exp(-x);
}

/// Where a state is after a step that leaves `left` of its distance to the target.
double Approach(double state, double target, double left)
{
    return target + (state - target) * left;
}

} // namespace

Cell::Cell(const CellPreset &preset, const CellHistory &history)
    : preset_(&preset)
    , nominal_(history.capacityAmpHours)
    , capacity_(history.capacityAmpHours * preset.fullCapacity * history.strength *
                std::max(0.3, 1 - preset.fadePerCycle * history.cycles))
    , newOhms_(history.resistanceOhms * (1 + history.cycles / agedCycles))
    , heatCapacity_(heatCapacityPerAmpHour * history.capacityAmpHours)
    , charge_(history.stateOfCharge)
    , core_(history.celsius)
    , can_(history.celsius)
    , hysteresis_(history.stateOfCharge - 0.5)
    , young_(preset.dailyLoss * std::max(0.0, history.stateOfCharge))
{
    NoteTemperature();
    Rest(history.restDays * daySeconds);
    restSeconds_ = 0;
}

bool Cell::IsDrained() const
{
    return charge_ <= preset_->charging.First() + drainedMargin;
}

Cell::Drive Cell::DriveBy(double amps) const
{
    const double rate = amps / nominal_;
    const double charging = std::max(0.01, rate);
    return {.amps = amps,
            .celsius = noted_,
            .rate = rate,
            .activation = thermalVolts * std::asinh(rate * cold_ / (2 * preset_->exchangeRate)),
            .width = preset_->gassingWidth * std::sqrt(std::sqrt(charging)),
            .fallShare = 1 - std::exp(-charging / fallRate),
            .bumpShare = 1 - std::exp(-2 * charging)};
}

/// The part of a charge current that makes gas and heat.
double Cell::RefusedShare() const
{
    const double left = 1.0 - charge_;
    return std::min(1.0, gasFactor_ * std::exp(-left / drive_.width) +
                             preset_->earlyLoss * std::exp(-left / earlyLossWidth));
}

double Cell::Volts(double amps) const
{
    const double charge = std::clamp(charge_ + surface_, preset_->charging.First(), 1.05);
    const double discharged = preset_->discharging.At(charge);
    const double open = discharged + (preset_->charging.At(charge) - discharged) * (1 + hysteresis_) / 2;
    return std::max(0.0, open + activation_ + slow_ + bump_ + gas_ - fall_ + amps * ohms_);
}

void Cell::SetDecay(double seconds)
{
    if (decay_.seconds == seconds)
        return;
    const auto left = [seconds](double constant) { return std::exp(-seconds / constant); };
    decay_ = {.seconds = seconds,
              .fast = left(activationSeconds),
              .slow = left(slowSeconds),
              .surface = left(surfaceSeconds),
              .bump = left(bumpSeconds),
              .gas = left(gasSeconds),
              .can = left(canSeconds),
              .rest = left(bumpRestSeconds)};
}

void Cell::NoteTemperature()
{
    // A twentieth of a degree is less than a tenth of a percent of any of them.
    if (std::abs(core_ - noted_) > 0.05) {
        noted_ = core_;
        cold_ = Arrhenius(coldKelvin, core_);
        stiff_ = Arrhenius(preset_->gradientKelvin, core_);
        gasFactor_ = std::exp2((core_ - usualCelsius) / doublingKelvin);
    }
    ohms_ = newOhms_ * cold_ * (1 + (charge_ < 0.6 ? emptyOhms * std::exp(-std::max(0.0, charge_) / emptyWidth) : 0));
}

void Cell::Warm(double seconds, double amps, double refused, double ambientCelsius, bool fan)
{
    double watts = amps * amps * ohms_ + std::abs(amps * (activation_ + slow_));
    // The reaction's own heat comes and goes with its direction.
    watts += amps * (preset_->reversibleHeat * (1 - refused) + gassingVolts * refused);
    const double excess = core_ - ambientCelsius;
    const double cooling = (fan ? fanCooling : 1.0) * (1 + std::abs(excess) / convectionKelvin) / coolingSeconds;
    core_ = ambientCelsius + Approach(excess, watts / heatCapacity_ / cooling, Shrink(seconds * cooling));
    can_ = Approach(can_, ambientCelsius + canShare * (core_ - ambientCelsius), decay_.can);
}

/// What the charge current does to the voltage, but for what any current does.
void Cell::Charge(double share, double refused)
{
    bump_ = Approach(
        bump_, (preset_->freshBump * freshness_ + preset_->restedBump * passive_ * std::sqrt(cold_)) * drive_.bumpShare,
        decay_.bump);
    freshness_ *= Shrink(share / bumpCharge);
    passive_ *= Shrink(share / passiveCharge);
    gas_ = Approach(gas_, preset_->gassingRise * (1 - std::exp(-drive_.rate * refused / gassingRate)), decay_.gas);
    fall_ = Approach(fall_, preset_->gassingFall * refused * drive_.fallShare * (core_ - usualCelsius), decay_.gas);
}

/// Above a certain heat the gas escapes, and the electrolyte with it.
void Cell::Vent(double seconds)
{
    if (core_ <= ventingCelsius)
        return;
    const double heat = (core_ - ventingCelsius) * seconds;
    capacity_ *= std::exp(-ventedPerSecond * heat);
    newOhms_ *= std::exp(driedPerSecond * heat);
}

/// Self-discharge and what rest does to the electrodes, settled hour by hour: how many seconds a rest had makes no
/// difference then.
void Cell::Rest(double seconds)
{
    const double hours = std::floor((restSeconds_ + seconds) / hourSeconds) - std::floor(restSeconds_ / hourSeconds);
    restSeconds_ += seconds;
    if (hours <= 0)
        return;
    const double speed = std::pow(3.0, (core_ - usualCelsius) / triplingKelvin);
    const double passed = hours * hourSeconds * speed;
    const double young = young_ * (1 - std::exp(-passed / youngSeconds));
    young_ -= young;
    if (charge_ > 0)
        charge_ = (charge_ - young) * std::exp(std::log1p(-preset_->monthlyLoss) * passed / monthSeconds);
    passive_ = Approach(passive_, 1, std::exp(-hours * hourSeconds / (passiveDays * daySeconds)));
}

void Cell::Pass(double seconds, double amps, double ambientCelsius, bool fan)
{
    SetDecay(seconds);
    if (drive_.amps != amps || drive_.celsius != noted_)
        drive_ = DriveBy(amps);
    const double rate = drive_.rate;
    const double refused = amps > 0 ? RefusedShare() : 0.0;
    Warm(seconds, amps, refused, ambientCelsius, fan);
    NoteTemperature();

    activation_ = Approach(activation_, drive_.activation, decay_.fast);
    slow_ = Approach(slow_, preset_->slowOvervoltage * rate * cold_, decay_.slow);
    surface_ = Approach(surface_, rate * stiff_ * (amps > 0 ? preset_->chargeGradient : preset_->dischargeGradient),
                        decay_.surface);
    if (amps == 0) {
        Rest(seconds);
        freshness_ = Approach(freshness_, 1, std::exp(-seconds / restSeconds));
    } else {
        restSeconds_ = 0;
        hysteresis_ =
            Approach(hysteresis_, amps > 0 ? 1 : -1, Shrink(std::abs(rate) * seconds / hourSeconds / hysteresisCharge));
    }
    if (amps > 0) {
        Charge(rate * seconds / hourSeconds, refused);
    } else {
        bump_ *= decay_.rest;
        gas_ *= decay_.rest;
        fall_ *= decay_.rest;
    }
    Vent(seconds);
    const double accepted = amps * (1 - refused) * seconds / hourSeconds / capacity_;
    charge_ = std::clamp(charge_ + accepted, preset_->charging.First(), 1.0);
    if (accepted > 0)
        young_ = std::min(young_ + preset_->dailyLoss * accepted, preset_->dailyLoss);
}

} // namespace Board
