// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "battery.h"

#include <algorithm>
#include <cmath>
#include <vector>

/// What a laboratory would measure of a pack, without board and PC: the figures of docs/virtual-board.md. Each is of
/// one cell.
namespace trials {

using Board::Battery;
using Board::PackOptions;

inline PackOptions Cell(Board::Chemistry chemistry, double soc, double celsius)
{
    PackOptions options;
    options.chemistry = chemistry;
    options.cells = 1;
    options.stateOfCharge = soc;
    options.ambientCelsius = celsius;
    return options;
}

/// A charge that is interrupted once a second to look at the voltage, as the PC does it, and its end.
struct ChargeEnd
{
    double putIn = 0;           ///< share of the nominal capacity, with what was in at the start
    double kelvinPerMinute = 0; ///< of the can, at the voltage's peak
    double celsius = 0;         ///< of the can, at the rule's end
    double peakVolts = 0;
    double fall = 0;     ///< V, within five minutes from the peak
    double mostFall = 0; ///< V, within the whole charge
    bool ended = false;  ///< by the rule: 10 counts, of 3 a millivolt
};

inline ChargeEnd Charge(PackOptions options, double rate, double mostPutIn = 1.6)
{
    constexpr double ruleVolts = 0.010 / 3;
    Battery cell(options);
    const double amps = rate * options.capacityAmpHours;
    const double start = options.stateOfCharge * cell.Preset().fullCapacity;
    ChargeEnd end;
    double atPeak = 0;
    std::vector<double> cans;
    double peakAt = 0;
    for (double now = 0; start + cell.ChargedAmpHours() / options.capacityAmpHours < mostPutIn; ++now) {
        cell.Pass(1, amps);
        cans.push_back(cell.Celsius());
        const double volts = cell.Volts(0);
        if (now < 600 && rate > 0.2) // the false peak of the beginning is another matter
            continue;
        if (volts > atPeak) {
            atPeak = volts;
            peakAt = now;
            end.fall = 0;
            end.peakVolts = volts;
            end.kelvinPerMinute = cans.size() > 60 ? cans.back() - cans[cans.size() - 61] : 0;
        }
        end.mostFall = std::max(end.mostFall, atPeak - volts);
        if (now - peakAt <= 300)
            end.fall = std::max(end.fall, atPeak - volts);
        if (!end.ended && atPeak - volts >= ruleVolts) {
            end.ended = true;
            end.putIn = start + cell.ChargedAmpHours() / options.capacityAmpHours;
            end.celsius = cell.Celsius();
        }
    }
    return end;
}

/// Share of the nominal capacity that a full cell gives down to the voltage, under the current.
inline double Capacity(PackOptions options, double rate, double volts)
{
    Battery cell(options);
    const double amps = rate * options.capacityAmpHours;
    while (cell.Volts(-amps) > volts && cell.CanDischarge())
        cell.Pass(1, -amps);
    return cell.DischargedAmpHours() / options.capacityAmpHours;
}

} // namespace trials
