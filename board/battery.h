// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cell.h"

#include <cstdint>
#include <vector>

namespace Board {

struct PackOptions
{
    Chemistry chemistry = Chemistry::NiMh;
    int cells = 4;
    double capacityAmpHours = 2.0;
    double stateOfCharge = 0.05;     ///< 0 (empty) to 1 (full), before the rest
    double ambientCelsius = 25.0;    ///< also the temperature that the pack starts at
    double packResistanceOhms = 0.0; ///< 0: what the chemistry has in this format
    double restDays = 0;             ///< how long the pack has lain since it was used last
    int cycles = 0;                  ///< how often it has been charged and discharged
    double spread = 0;               ///< by what share the cells differ in what they hold; 0: they are equal
    std::uint64_t seed = 1;          ///< of the differences
};

/// A pack of cells in series. It only changes when told that time has passed, under a current that is constant for that
/// time. Currents are positive when they charge.
class Battery
{
public:
    explicit Battery(const PackOptions &options);

    /// Lets time pass. Under a current the caller keeps the steps short, at most a second.
    void Pass(double seconds, double amps);

    /// Terminal volts of the pack under the current.
    double Volts(double amps) const;

    /// Changes the temperature of the air, degrees.
    void SetAmbient(double celsius) { options_.ambientCelsius = celsius; }
    void SetFan(bool on) { fan_ = on; }

    double StateOfCharge() const; ///< of the cells' middle
    double Celsius() const;       ///< of the cans
    double ResistanceOhms() const;
    double CapacityAmpHours() const; ///< of the weakest cell when full
    double ChargedAmpHours() const { return chargedAmpHours_; }
    double DischargedAmpHours() const { return dischargedAmpHours_; }
    bool CanDischarge() const;
    int Cells() const { return options_.cells; }
    const CellPreset &Preset() const { return preset_; }

private:
    double Mean(double (Cell::*value)() const) const;

    PackOptions options_;
    const CellPreset &preset_;
    std::vector<Cell> cells_; // one that stands for all, if they are equal
    double chargedAmpHours_ = 0;
    double dischargedAmpHours_ = 0;
    bool fan_ = false;
};

} // namespace Board
