#pragma once

#include <span>

namespace Board {

enum class Chemistry
{
    NiMh,
    NiCd,
    LiPo
};

struct CurvePoint
{
    double charge; ///< state of charge, 1 is full
    double volts;  ///< open-circuit volts of one cell
};

/// What one cell of a chemistry is like. Over-voltages are given at a rate of 1 C (the current that carries the
/// nominal capacity in one hour), so that they hold for every capacity.
struct CellPreset
{
    std::span<const CurvePoint> openCircuit;
    double resistanceAmpHours;     ///< ohmic resistance times capacity, ohm·Ah
    double chargePolarisation;     ///< slow over-voltage while charging at 1 C, V
    double dischargePolarisation;  ///< the same while discharging, V
    double surfacePolarisation;    ///< the slowest over-voltage (concentration in the electrodes) at 1 C, V
    double acceptanceWidth;        ///< how early before full the cell begins to refuse charge, fraction of capacity
    double earlyBump;              ///< height of the false peak after the start of a charge, V
    double overchargeFall;         ///< fall of the voltage once all current makes gas and heat, V
    double temperatureCoefficient; ///< fall of the voltage per kelvin of pack temperature, V/K
    double reversibleHeat;         ///< heat given off while charging, per ampere, V (negative: the cell cools)
    double chargeLimitVolts;       ///< constant-voltage limit of a charge, V; 0: none
    double fullVolts;              ///< rested voltage of a full cell, V
    double highestVolts;           ///< the most that a cell shows on the terminals, V
    int defaultCells;
    int mostCells;
};

/// Figures: D. Linden and T. Reddy, "Handbook of Batteries", chapters on nickel-metal hydride, nickel-cadmium and
/// lithium-ion cells (voltage curves, fall after full of 5 to 10 mV per NiMH cell and 10 to 20 mV per NiCd cell,
/// 4.20 V end of charge), rounded to a middling cell.
const CellPreset &PresetOf(Chemistry chemistry);

} // namespace Board
