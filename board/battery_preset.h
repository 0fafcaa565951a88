// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "curve.h"

#include <span>

namespace Board {

enum class Chemistry
{
    NiMh,
    NiCd,
    LiPo
};

/// A size in which cells are made: the largest capacity that it is made for, and its resistance, which depends on how
/// long and how wide the electrodes are rather than on what they hold.
struct CellFormat
{
    double mostAmpHours;
    double ohms; ///< half charged, at 25 °C
};

/// What one cell of a chemistry is like, new and at 25 °C. Over-voltages and gradients are given at a rate of 1 C (the
/// current that carries the nominal capacity in one hour), so that they hold for every capacity.
struct CellPreset
{
    Curve charging;    ///< open-circuit volts after a charge...
    Curve discharging; ///< ...and after a discharge
    std::span<const CellFormat> formats;
    double resistanceAmpHours; ///< resistance times capacity for what is larger than all formats, or has none, ohm·Ah
    double fullCapacity;       ///< what a full cell holds, share of the nominal capacity
    double exchangeRate;       ///< exchange current of the electrodes, C
    double slowOvervoltage;    ///< over-voltage that follows the current within minutes, V
    double chargeGradient;     ///< how much fuller the electrodes' surface gets than their inside, charging
    double dischargeGradient;  ///< how much emptier, discharging
    double gradientKelvin;     ///< how steeply these grow with 1/T
    double gassingWidth;       ///< how early before full the cell begins to make gas, fraction of capacity
    double gassingRise;        ///< rise of the voltage once all current makes gas, V
    double gassingFall;        ///< fall of the voltage per kelvin while it does, V/K
    double earlyLoss;          ///< share of the current that is lost in the last quarter, at full
    double freshBump;          ///< height of the short false peak of electrodes that rested for an hour, V
    double restedBump;         ///< the same of the long one after months, V
    double reversibleHeat;     ///< heat given off while charging, per ampere, V (negative: the cell cools)
    double dailyLoss;          ///< self-discharge of the first day of a full cell, share of its charge
    double monthlyLoss;        ///< and of each month
    double fadePerCycle;       ///< share of the capacity
    double chargeLimitVolts;   ///< constant-voltage limit of a charge, V; 0: none
    double fullVolts;          ///< what the delta amplifier's window is set for, V
    double highestVolts;       ///< the most that a cell shows on the terminals, V
    int defaultCells;
    int mostCells;
};

/// Where the figures are from, and which have no source, is in docs/virtual-board.md.
const CellPreset &PresetOf(Chemistry chemistry);

/// Resistance of a new cell, half charged and at 25 °C.
double ResistanceOf(const CellPreset &preset, double capacityAmpHours);

} // namespace Board
