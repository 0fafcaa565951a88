// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "gains.h"
#include "random.h"

namespace Board {

/// The true values at the converter's inputs.
struct TrueValues
{
    double packVolts = 0;
    double chargeAmps = 0;
    double dischargeAmps = 0;
    double supplyVolts = 0;
    double doublerVolts = 0;
    double celsius = 0;
    bool inverterRuns = true;
    double trimUp = 0;   ///< register 21, 0 to 255
    double trimDown = 0; ///< register 22, 0 to 255
};

/// The 10-bit converter and what stands before it. Every reading carries a little seeded noise.
///
/// Channel 12 is the delta amplifier. It looks at one cell's share of the pack voltage through a window that the two
/// trims move:
///
///     count = 600 + g * (pack volts / cells - full volts) + 12 * trimUp + 2 * (255 - trimDown)
///
/// g is 3 counts per millivolt of a cell for NiMH and NiCd, and 0.58 for LiPo, whose range from empty to over-charged
/// is five times wider. So a full cell stands at 600 with the trims at 0 and 255, wherever a pack is charged a first
/// trim below 256 brings the count above 700, and the fall after full is some 20 counts for any number of cells.
class FrontEnd
{
public:
    static constexpr int highestCount = 1023;

    FrontEnd(Chemistry chemistry, int cells, std::uint64_t seed)
        : gains_(TrueGains(chemistry, cells)), preset_(PresetOf(chemistry)), cells_(cells), random_(seed)
    {
    }

    /// The count of a channel from 5 to 13.
    int Read(int channel, const TrueValues &values);

    const Gains &True() const { return gains_; }

private:
    double Exact(int channel, const TrueValues &values) const;

    Gains gains_;
    const CellPreset &preset_;
    int cells_;
    Random random_;
};

} // namespace Board
