// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <cmath>
#include <random>
#include <vector>

/// Chance that is the same for the same seed, on every machine.
class Dice
{
public:
    explicit Dice(quint64 seed) : random_(seed) {}

    /// 0 to limit - 1.
    int Below(int limit) { return static_cast<int>(random_() % static_cast<quint64>(limit)); }
    bool Chance(double probability) { return Fraction() < probability; }
    template <class T>
    const T &Any(const std::vector<T> &all)
    {
        return all[static_cast<size_t>(Below(static_cast<int>(all.size())))];
    }
    /// Short and long times are equally likely: as many between a second and a minute as between a minute and an hour.
    Clock::Duration Time(Clock::Duration least, Clock::Duration most)
    {
        const double low = std::log(static_cast<double>(least.count()));
        const double high = std::log(static_cast<double>(most.count()));
        return Clock::Duration(static_cast<Clock::Duration::rep>(std::exp(low + Fraction() * (high - low))));
    }

private:
    double Fraction() { return static_cast<double>(random_() >> 11) * 0x1p-53; }

    std::mt19937_64 random_;
};
