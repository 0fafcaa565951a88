// SPDX-License-Identifier: GPL-3.0-or-later
#include "front_end.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

constexpr double noiseCounts = 0.7; // at most, before rounding
constexpr double noisePerAmp = 0.4; // of the pack's channels, more
constexpr double mostNoise = 2.0;
constexpr int firstPackChannel = 10;
constexpr double deltaAtFull = 600.0;
constexpr double trimUpCounts = 12.0;
constexpr double trimDownCounts = 2.0;
constexpr double nickelCountsPerVolt = 3000.0;
constexpr double lithiumCountsPerVolt = 580.0;
constexpr double inverterRunningCount = 930.0;
constexpr double inverterStoppedCount = 12.0;
constexpr double batteryThermistorZero = 880.0;

} // namespace

double FrontEnd::Exact(int channel, const TrueValues &values) const
{
    switch (channel) {
    case 5:
        return gains_.temperatureZero - values.celsius * gains_.temperatureSlope / 1024.0;
    case 6:
        return CountOf(values.supplyVolts, gains_.supplyWord);
    case 7:
        return CountOf(values.doublerVolts, gains_.doublerWord);
    case 8:
        return values.inverterRuns ? inverterRunningCount : inverterStoppedCount;
    case 9:
        return batteryThermistorZero - values.celsius * gains_.batteryTemperatureSlope / 1024.0;
    case 10:
        return CountOf(values.chargeAmps, gains_.chargeWord);
    case 11:
        return CountOf(values.dischargeAmps, gains_.dischargeWord);
    case 12: {
        const double gain = preset_.chargeLimitVolts > 0 ? lithiumCountsPerVolt : nickelCountsPerVolt;
        return deltaAtFull + gain * (values.packVolts / cells_ - preset_.fullVolts) + trimUpCounts * values.trimUp +
               trimDownCounts * (255.0 - values.trimDown);
    }
    default:
        return CountOf(values.packVolts, gains_.batteryWord);
    }
}

int FrontEnd::Read(int channel, const TrueValues &values)
{
    const double amps = channel >= firstPackChannel ? values.chargeAmps + values.dischargeAmps : 0.0;
    const double noise = std::min(mostNoise, noiseCounts + noisePerAmp * amps);
    const double noisy = Exact(channel, values) + random_.Triangular(noise);
    return static_cast<int>(std::clamp(std::floor(noisy + 0.5), 0.0, static_cast<double>(highestCount)));
}

} // namespace Board
