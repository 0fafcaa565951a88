// SPDX-License-Identifier: GPL-3.0-or-later
#include "battery_preset.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Board {

namespace {

constexpr double lowest = 0.4; // V; a drained cell does not fall below

/// The discharge curve of O. Tremblay and L.-A. Dessaint, "Experimental validation of a battery dynamic model for EV
/// applications", World Electric Vehicle Journal 3 (2009), with currents and charges in units of the nominal capacity.
struct DischargeFit
{
    double constant;     // V
    double polarisation; // V
    double exponential;  // V
    double perCapacity;  // of the exponential zone
    double exhausted;    // what has been taken out when the voltage breaks down, share of the nominal capacity
    double held;         // what a full cell holds, the same
};

std::vector<CurvePoint> PointsOf(const DischargeFit &fit)
{
    std::vector<CurvePoint> points;
    const auto add = [&points, &fit](double charge) {
        const double taken = (1 - charge) * fit.held;
        const double volts = fit.constant - fit.polarisation * taken / (1 - taken / fit.exhausted) +
                             fit.exponential * std::exp(-fit.perCapacity * taken);
        if (volts > lowest + 0.01)
            points.push_back({charge, volts});
    };
    points.push_back({-0.03, lowest});
    for (int step = -29; step < 100; ++step) // close where it is steep
        add(step / 1000.0);
    for (int step = 20; step <= 200; ++step)
        add(step / 200.0);
    return points;
}

// The HHR650D, a cell of 6.5 Ah: 1.2844 V, 0.00142 V/Ah, 0.110 V, 2.308/Ah.
constexpr DischargeFit nickelMetalHydrideFit = {
    .constant = 1.2844,
    .polarisation = 0.00142 * 6.5,
    .exponential = 0.110,
    .perCapacity = 2.308 * 6.5,
    .exhausted = 1.082,
    .held = 1.045,
};

constexpr DischargeFit nickelCadmiumFit = {
    .constant = 1.286,
    .polarisation = 0.0075,
    .exponential = 0.095,
    .perCapacity = 15,
    .exhausted = 1.082,
    .held = 1.05,
};

// After a charge, without what the gas adds.
constexpr CurvePoint nickelMetalHydrideCharged[] = {
    {-0.03, 0.400}, {-0.01, 0.850}, {0.00, 1.080}, {0.01, 1.190}, {0.02, 1.245}, {0.03, 1.275}, {0.05, 1.302},
    {0.10, 1.314},  {0.40, 1.340},  {0.60, 1.356}, {0.80, 1.374}, {0.90, 1.385}, {1.00, 1.401},
};

constexpr CurvePoint nickelCadmiumCharged[] = {
    {-0.03, 0.400}, {-0.01, 0.850}, {0.00, 1.080}, {0.01, 1.200}, {0.02, 1.260}, {0.03, 1.290}, {0.05, 1.317},
    {0.10, 1.328},  {0.40, 1.354},  {0.60, 1.370}, {0.80, 1.388}, {0.90, 1.401}, {1.00, 1.424},
};

constexpr CurvePoint lithiumPolymer[] = {
    {-0.04, 0.400}, {-0.01, 2.500}, {0.00, 3.000}, {0.03, 3.450}, {0.06, 3.600},
    {0.10, 3.680},  {0.20, 3.740},  {0.30, 3.770}, {0.40, 3.800}, {0.50, 3.840},
    {0.60, 3.880},  {0.70, 3.950},  {0.80, 4.030}, {0.90, 4.110}, {1.00, 4.200},
};

// Button, AAA, AA, sub-C, D, F.
constexpr CellFormat nickelMetalHydrideFormats[] = {{0.35, 0.150}, {1.2, 0.050},  {3.0, 0.025},
                                                    {5.5, 0.006},  {12.0, 0.003}, {20.0, 0.002}};
constexpr CellFormat nickelCadmiumFormats[] = {{0.18, 0.120}, {0.45, 0.030}, {1.3, 0.018},
                                               {2.9, 0.006},  {5.5, 0.004},  {20.0, 0.0025}};

const CellPreset &NickelMetalHydrideCell()
{
    static const CellPreset cell{
        .charging = Curve(nickelMetalHydrideCharged),
        .discharging = Curve(PointsOf(nickelMetalHydrideFit)),
        .formats = nickelMetalHydrideFormats,
        .resistanceAmpHours = 0.050,
        .fullCapacity = nickelMetalHydrideFit.held,
        .exchangeRate = 2.0,
        .slowOvervoltage = 0.008,
        .chargeGradient = 0.004,
        .dischargeGradient = 0.036,
        .gradientKelvin = 5500,
        .gassingWidth = 0.030,
        .gassingRise = 0.040,
        .gassingFall = 0.00034,
        .earlyLoss = 0.06,
        .freshBump = 0.006,
        .restedBump = 0.042,
        .reversibleHeat = 0.05,
        .dailyLoss = 0.06,
        .monthlyLoss = 0.15,
        .fadePerCycle = 0.0004,
        .chargeLimitVolts = 0,
        .fullVolts = 1.44,
        .highestVolts = 1.70,
        .defaultCells = 4,
        .mostCells = 16,
    };
    return cell;
}

const CellPreset &NickelCadmiumCell()
{
    static const CellPreset cell{
        .charging = Curve(nickelCadmiumCharged),
        .discharging = Curve(PointsOf(nickelCadmiumFit)),
        .formats = nickelCadmiumFormats,
        .resistanceAmpHours = 0.030,
        .fullCapacity = nickelCadmiumFit.held,
        .exchangeRate = 2.0,
        .slowOvervoltage = 0.006,
        .chargeGradient = 0.004,
        .dischargeGradient = 0.026,
        .gradientKelvin = 5500,
        .gassingWidth = 0.030,
        .gassingRise = 0.066,
        .gassingFall = 0.0008,
        .earlyLoss = 0.06,
        .freshBump = 0.006,
        .restedBump = 0.042,
        .reversibleHeat = -0.03,
        .dailyLoss = 0.05,
        .monthlyLoss = 0.12,
        .fadePerCycle = 0.0003,
        .chargeLimitVolts = 0,
        .fullVolts = 1.49,
        .highestVolts = 1.70,
        .defaultCells = 4,
        .mostCells = 16,
    };
    return cell;
}

const CellPreset &LithiumPolymerCell()
{
    static const CellPreset cell{
        .charging = Curve(lithiumPolymer),
        .discharging = Curve(lithiumPolymer),
        .formats = {},
        .resistanceAmpHours = 0.040,
        .fullCapacity = 1.0,
        .exchangeRate = 1.0,
        .slowOvervoltage = 0.020,
        .chargeGradient = 0.060,
        .dischargeGradient = 0.052,
        .gradientKelvin = 7500,
        .gassingWidth = 0.001,
        .gassingRise = 0,
        .gassingFall = 0,
        .earlyLoss = 0,
        .freshBump = 0,
        .restedBump = 0,
        .reversibleHeat = 0,
        .dailyLoss = 0.005,
        .monthlyLoss = 0.02,
        .fadePerCycle = 0.0005,
        .chargeLimitVolts = 4.2,
        .fullVolts = 4.2,
        .highestVolts = 4.5,
        .defaultCells = 3,
        .mostCells = 6,
    };
    return cell;
}

} // namespace

const CellPreset &PresetOf(Chemistry chemistry)
{
    switch (chemistry) {
    case Chemistry::NiCd:
        return NickelCadmiumCell();
    case Chemistry::LiPo:
        return LithiumPolymerCell();
    case Chemistry::NiMh:
        break;
    }
    return NickelMetalHydrideCell();
}

double ResistanceOf(const CellPreset &preset, double capacityAmpHours)
{
    const auto format = std::find_if(preset.formats.begin(), preset.formats.end(),
                                     [&](const CellFormat &each) { return capacityAmpHours <= each.mostAmpHours; });
    return format != preset.formats.end() ? format->ohms : preset.resistanceAmpHours / capacityAmpHours;
}

} // namespace Board
