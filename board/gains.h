// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "battery_preset.h"

namespace Board {

/// The numbers that tie converter counts to physical values. A set of them is stored in the on-chip EEPROMs for the
/// PC; the true set of this board differs by one to three percent, as on a board fresh from assembly.
///
/// Volts and amperes: value = count * 1024 / word / 100. Temperature: degrees = 1024 * (zero - count) / slope.
/// Current settings: amperes = setting / scale.
struct Gains
{
    double temperatureSlope;
    double temperatureZero;
    double batteryTemperatureSlope;
    double supplyWord;
    double doublerWord;
    double chargeWord;
    double dischargeWord;
    double chargeScale;
    double dischargeScale;
    double batteryWord;
};

/// What the board is born believing. The battery word follows the input divider, whose jumper is set for the pack:
/// full scale is about 10, 20 or 40 V.
Gains BirthGains(Chemistry chemistry, int cells);

/// What is true.
Gains TrueGains(Chemistry chemistry, int cells);

/// The count, before noise and rounding, that a measurement of volts or amperes gives.
inline double CountOf(double value, double word)
{
    return value * 100.0 * word / 1024.0;
}

} // namespace Board
