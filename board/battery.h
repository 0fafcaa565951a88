#pragma once

#include "battery_preset.h"

namespace Board {

struct PackOptions
{
    Chemistry chemistry = Chemistry::NiMh;
    int cells = 4;
    double capacityAmpHours = 2.0;
    double stateOfCharge = 0.05;     ///< 0 (empty) to 1 (full)
    double ambientCelsius = 25.0;    ///< also the temperature that the pack starts at
    double packResistanceOhms = 0.0; ///< 0: what the chemistry has at this capacity
};

/// A pack of equal cells in series. It only changes when told that time has passed, under a current that is constant
/// for that time. Currents are positive when they charge.
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

    double StateOfCharge() const { return charge_; }
    double Celsius() const { return celsius_; }
    double ResistanceOhms() const { return resistance_ * options_.cells; }
    double ChargedAmpHours() const { return chargedAmpHours_; }
    double DischargedAmpHours() const { return dischargedAmpHours_; }
    bool CanDischarge() const;
    int Cells() const { return options_.cells; }
    const CellPreset &Preset() const { return preset_; }

private:
    double Rate(double amps) const { return amps / options_.capacityAmpHours; }
    double OpenCircuitVolts() const;
    double RefusedShare() const;
    double HeatWatts(double amps) const;

    PackOptions options_;
    const CellPreset &preset_;
    double resistance_;   // ohm per cell
    double heatCapacity_; // J/K per cell
    double charge_;       // fraction of capacity; a little below 0 when drained past the usual limit
    double celsius_;
    double polarisation_ = 0;
    double surface_ = 0;
    double freshness_ = 1; // 1: rested electrodes, which show the early bump; 0: activated by the charge
    double bump_ = 0;
    double fall_ = 0;
    double chargedAmpHours_ = 0;
    double dischargedAmpHours_ = 0;
    bool fan_ = false;
};

} // namespace Board
