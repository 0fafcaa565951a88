// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "pc.h"

#include <algorithm>
#include <optional>

/// What a fast charge run from the PC did, step by step as its window does it.
struct ChargeRun
{
    /// When a rule of the kind "the count has fallen by this much from its peak" first held.
    struct End
    {
        double putIn;   ///< state of charge at the start plus what was put in, share of the capacity
        double celsius; ///< of the pack
        int peak;       ///< of the delta count
        double hours;
    };

    std::optional<End> fallOfSix; ///< the capacity window's rule
    std::optional<End> fallOfTen; ///< the charge window's rule
    int earlyFall = 0;            ///< largest fall of the delta count in the first ten minutes
    int lowest = 1023;            ///< of the delta count after the first half hour
    int highest = 0;
    double countedAmpHours = 0; ///< as the PC adds it up, from the counts and the birth word of 1600
};

struct ChargePlan
{
    double capacityAmpHours = 2.0;
    double pause = 1.0;      ///< seconds between steps
    double settle = 0.005;   ///< seconds between the interruption of the charge and the reading
    bool interrupted = true; ///< mode 0: the charge is interrupted for the readings
    double mostHours = 6;
};

inline ChargeRun RunCharge(Pc &pc, const ChargePlan &plan)
{
    const double atStart = pc.Pack().StateOfCharge();
    const double before = pc.Pack().ChargedAmpHours();
    const double begin = pc.now;
    ChargeRun run;
    int peak = 0;
    int elapsed = 0;
    const int clock = pc.ReadClock();
    pc.Write({{18, 0}, {16, 0}, {17, 1}, {15, 1}, {20, 35}});
    while (!run.fallOfTen && pc.now - begin < plan.mostHours * 3600) {
        pc.Wait(plan.pause);
        const int now = pc.ReadClock() - clock;
        pc.ReadChannel(6);
        pc.ReadChannel(7);
        pc.ReadChannel(5);
        const int amps = pc.ReadChannel(10);
        run.countedAmpHours += (now - elapsed) * (amps * 1024 / 1600 / 100.0) / 3600;
        elapsed = now;
        if (plan.interrupted) {
            pc.Write({{15, 0}, {17, 0}, {18, 1}, {16, 1}});
            pc.Wait(plan.settle);
        }
        pc.Write(16, 0);
        pc.ReadChannel(13);
        const int count = pc.ReadChannel(12);
        peak = std::max(peak, count);
        run.highest = std::max(run.highest, count);
        if (pc.now - begin < 600)
            run.earlyFall = std::max(run.earlyFall, peak - count);
        if (pc.now - begin > 1800)
            run.lowest = std::min(run.lowest, count);
        const ChargeRun::End end{atStart + (pc.Pack().ChargedAmpHours() - before) / plan.capacityAmpHours,
                                 pc.Pack().Celsius(), peak, (pc.now - begin) / 3600};
        if (!run.fallOfSix && count < peak - 5)
            run.fallOfSix = end;
        if (count < peak - 9)
            run.fallOfTen = end;
        pc.Write({{18, 0}, {17, 1}, {15, 1}});
    }
    pc.Write({{17, 0}, {15, 0}});
    return run;
}
