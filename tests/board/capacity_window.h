// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "pc.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

/// The capacity measurement of the PC's window, sequence by sequence, in simulated time.
class CapacityWindow
{
public:
    CapacityWindow(Pc &pc, int cells, int chargeSetting, int dischargeSetting)
        : pc_(pc), cells_(cells), chargeSetting_(chargeSetting), dischargeSetting_(dischargeSetting)
    {
    }

    struct Charge
    {
        bool found = false; ///< the offset search found a place
        bool ended = false; ///< by the fall of 5 below the peak
        int afterSearch = 0;
        int highestOffset = 0;
        int trims = 0; ///< how often the offset was lowered during the charge
        int lowestOffset = 255;
        double ampHours = 0;
        double hours = 0;
    };

    struct Discharge
    {
        double ampHours = 0;
        std::vector<int> resistances; ///< milliohms
        double hours = 0;
    };

    void Ramp()
    {
        OutputsCharge();
        for (int setting = 1; setting <= 30; ++setting) {
            pc_.Write(19, setting);
            Tick();
        }
        OutputsIdle();
    }

    Charge RunCharge()
    {
        Charge run;
        pc_.Exchange({27, 42, 0, 0, 0});
        charged_ = 0;
        int offset = 0;
        int lower = 255;
        pc_.Write(21, offset);
        pc_.Write(22, lower);
        OutputsIdle();
        run.found = SearchUp(offset) || SearchDown(lower);
        run.highestOffset = offset;
        if (!run.found)
            return run;
        MeasureBattery();
        run.afterSearch = delta_;
        pc_.Write(19, chargeSetting_);
        int peak = 0;
        const double begin = pc_.now;
        while (!run.ended && pc_.now - begin < 8 * 3600) {
            OutputsCharge();
            Tick();
            OutputsIdle();
            MeasureBattery();
            if (delta_ > 1000) {
                offset -= (offset + 15) / 16;
                pc_.Write(21, offset);
                ++run.trims;
                run.lowestOffset = std::min(run.lowestOffset, offset);
                peak = 0;
                delta_ = 10;
            }
            peak = std::max(peak, delta_);
            run.ended = delta_ < peak - 5;
        }
        OutputsIdle();
        run.ampHours = charged_ / 3600;
        run.hours = (pc_.now - begin) / 3600;
        return run;
    }

    void Pause()
    {
        OutputsIdle();
        pc_.Wait(120);
    }

    Discharge RunDischarge()
    {
        Discharge run;
        pc_.Exchange({27, 42, 0, 0, 0});
        OutputsIdle();
        MeasureBattery();
        pc_.Write(19, 0);
        discharged_ = 0;
        int counter = 14;
        const double begin = pc_.now;
        while (cellVolts_ > 0.9 && pc_.now - begin < 12 * 3600) {
            if (++counter == 15) {
                run.resistances.push_back(MeasureResistance());
                counter = 0;
            }
            OutputsDischarge();
            Tick();
            OutputsIdle();
            MeasureBattery();
        }
        run.ampHours = discharged_ / 3600;
        run.hours = (pc_.now - begin) / 3600;
        return run;
    }

private:
    void OutputsIdle() { pc_.Write({{17, 0}, {15, 0}, {16, 0}, {18, 1}}); }
    void OutputsCharge() { pc_.Write({{16, 0}, {18, 0}, {17, 1}, {15, 1}}); }
    void OutputsDischarge() { pc_.Write({{15, 0}, {17, 0}, {16, 1}, {18, 1}}); }

    double Volts() { return std::floor(pc_.ReadChannel(13) * 1024.0 / divisor_) / 100; }

    void MeasureBattery()
    {
        OutputsIdle();
        const double volts = Volts();
        delta_ = pc_.ReadChannel(12);
        cellVolts_ = std::floor(volts * 100 / cells_) / 100;
    }

    bool SearchUp(int &offset)
    {
        for (;;) {
            MeasureBattery();
            const bool found = delta_ > 700;
            offset += 10;
            pc_.Write(21, std::min(offset, 255));
            if (offset > 245)
                return false;
            if (found)
                return true;
        }
    }

    bool SearchDown(int &lower)
    {
        for (;;) {
            MeasureBattery();
            const bool found = delta_ > 700;
            lower -= 10;
            pc_.Write(22, lower);
            if (lower < 10)
                return false;
            if (found)
                return true;
        }
    }

    // The readings are taken while the timer runs.
    void Tick()
    {
        const double due = pc_.now + 2;
        UpdateReadings();
        pc_.Wait(due - pc_.now);
    }

    // The PC adds up two seconds of current at each tick.
    void UpdateReadings()
    {
        pc_.ReadClock();
        for (const int channel : {6, 7, 5})
            pc_.ReadChannel(channel);
        charged_ += 2 * std::floor(pc_.ReadChannel(10) * 1024.0 / 1600) / 100;
        discharged_ += 2 * std::floor(pc_.ReadChannel(11) * 1024.0 / 1500) / 100;
    }

    int MeasureResistance()
    {
        pc_.Write(20, 41);
        OutputsDischarge();
        pc_.Wait(1);
        const double loaded = Volts();
        pc_.Write(20, 1);
        const double unloaded = Volts();
        OutputsIdle();
        pc_.Write(20, dischargeSetting_);
        return static_cast<int>(std::floor(1000 * (unloaded - loaded) + 1e-6));
    }

    Pc &pc_;
    int cells_;
    int chargeSetting_;
    int dischargeSetting_;
    double divisor_ = Divisor();
    int delta_ = 0;
    double cellVolts_ = 0;
    double charged_ = 0;
    double discharged_ = 0;

    double Divisor()
    {
        const Board::Bytes high = pc_.Exchange({27, 38, 6});
        const Board::Bytes low = pc_.Exchange({27, 38, 7});
        return high.at(1) * 256.0 + low.at(1);
    }
};
