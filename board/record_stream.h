// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "device.h"
#include "interpreter.h"

namespace Board {

/// The records that the board sends while it runs by itself: a line feed and 29 bytes each, words high byte first and
/// never above 32767. Volts are in hundredths, current in mA, temperature in tenths of a degree, resistance in
/// milliohms, capacity in mAh; Vdelta is the count of channel 12.
///
/// "By itself" is a charge: when a run begins with the outputs idle, the board switches its own charge on and ends it
/// when the delta count has fallen by 10 from its peak. Outputs that the PC left on are only reported.
class RecordStream
{
public:
    static constexpr std::size_t recordSize = 30;

    RecordStream(Device &device, std::uint8_t type) : device_(device), type_(type) {}

    void Begin();
    void End();

    /// Appends the record of the present moment.
    void Append(Bytes &out);

private:
    struct Run
    {
        bool ownCharge = false;
        double beginSeconds = 0;
        double beginAmpHours = 0;
        int sample = 0;
        int deltaPeak = 0;
        int blockSum = 0;
        int previousBlockSum = 0;
        int blockSamples = 0;
        int blocks = 0;
        int rise = 0;
        int riseSum = 0;
        int mostRise = 0;
    };

    void Watch(int deltaCount, int batteryCount);

    Device &device_;
    std::uint8_t type_;
    Run run_;
};

} // namespace Board
