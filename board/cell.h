// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "battery_preset.h"

namespace Board {

/// What tells one cell from another of its chemistry, and what it has been through.
struct CellHistory
{
    double capacityAmpHours = 2.0; ///< nominal
    double resistanceOhms = 0;     ///< when new, half charged and at 25 °C
    double strength = 1;           ///< capacity of a new cell of this make, share of what is usual
    double stateOfCharge = 0.05;   ///< before the rest
    double celsius = 25;
    double restDays = 0;
    int cycles = 0;
};

/// A cell. It only changes when told that time has passed, under a current that is constant for that time. Currents are
/// positive when they charge.
class Cell
{
public:
    Cell(const CellPreset &preset, const CellHistory &history);

    /// Lets time pass. Under a current the caller keeps the steps short, at most a second.
    void Pass(double seconds, double amps, double ambientCelsius, bool fan);

    double Volts(double amps) const;
    double StateOfCharge() const { return charge_; } ///< 0 (empty) to 1 (full); a little below 0 when drained
    bool IsDrained() const;
    double ResistanceOhms() const { return ohms_; }
    double CapacityAmpHours() const { return capacity_; } ///< what it holds when full
    double Celsius() const { return can_; }               ///< of the can, where the thermistor is
    double CoreCelsius() const { return core_; }

private:
    /// What a step of a given length leaves of a state; the same for every step of that length.
    struct Decay
    {
        double seconds = 0;
        double fast = 0, slow = 0, surface = 0, bump = 0, gas = 0, can = 0, rest = 0;
    };

    /// What depends on the current and the temperature alone, and so on neither for most steps.
    struct Drive
    {
        double amps = 0;
        double celsius = -300;
        double rate = 0;       // C
        double activation = 0; // V
        double width = 1;      // of the gassing
        double fallShare = 0;
        double bumpShare = 0;
    };

    Drive DriveBy(double amps) const;
    double RefusedShare() const;
    void Rest(double seconds);
    void Warm(double seconds, double amps, double refused, double ambientCelsius, bool fan);
    void Charge(double share, double refused);
    void Vent(double seconds);
    void NoteTemperature();
    void SetDecay(double seconds);

    const CellPreset *preset_;
    double nominal_;
    double capacity_;
    double newOhms_;
    double heatCapacity_; // J/K
    double charge_;
    double core_;
    double can_;
    double ohms_ = 0;
    double noted_ = -300;   // temperature of the factors below
    double cold_ = 1;       // how much slower everything in the cell is than at 25 °C
    double stiff_ = 1;      // the same of what moves in the electrodes
    double gasFactor_ = 1;  // how much more gas there is than at 25 °C
    double activation_ = 0; // V
    double slow_ = 0;       // V
    double surface_ = 0;    // how much fuller the surface is than the inside
    double hysteresis_;     // 1 after a charge, -1 after a discharge; half of that after a rest
    double freshness_ = 1;  // electrodes that rested for an hour: 1
    double bump_ = 0;       // V
    double passive_ = 0;    // electrodes that rested for months: 1
    double gas_ = 0;        // V
    double fall_ = 0;       // V
    double young_ = 0;      // share of the charge that is lost within days
    double restSeconds_ = 0;
    Decay decay_;
    Drive drive_;
};

} // namespace Board
