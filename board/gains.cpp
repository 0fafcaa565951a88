// SPDX-License-Identifier: GPL-3.0-or-later
#include "gains.h"

namespace Board {

namespace {

// Full scale of a 10-bit converter with this word: 1023 * 1024 / word / 100 volts.
double BatteryWord(Chemistry chemistry, int cells)
{
    const double most = PresetOf(chemistry).highestVolts * cells;
    if (most <= 10.2)
        return 1024;
    return most <= 20.4 ? 512 : 256;
}

} // namespace

Gains BirthGains(Chemistry chemistry, int cells)
{
    return {
        .temperatureSlope = 3000,
        .temperatureZero = 1024,
        .batteryTemperatureSlope = 3000,
        .supplyWord = 640,
        .doublerWord = 320,
        .chargeWord = 1600,
        .dischargeWord = 1500,
        .chargeScale = 50,
        .dischargeScale = 40,
        .batteryWord = BatteryWord(chemistry, cells),
    };
}

Gains TrueGains(Chemistry chemistry, int cells)
{
    return {
        .temperatureSlope = 3060,
        .temperatureZero = 1018,
        .batteryTemperatureSlope = 3045,
        .supplyWord = 652,
        .doublerWord = 314,
        .chargeWord = 1568,
        .dischargeWord = 1530,
        .chargeScale = 51,
        .dischargeScale = 40.8,
        .batteryWord = BatteryWord(chemistry, cells) * 0.981,
    };
}

} // namespace Board
