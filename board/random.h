// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace Board {

/// A small seeded generator whose sequence is the same with every compiler and library, unlike the distributions of
/// <random>. It is SplitMix64 (Steele, Lea and Flood, "Fast splittable pseudorandom number generators", OOPSLA 2014).
class Random
{
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t Next()
    {
        state_ += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    /// Evenly spread over [0, 1).
    double Uniform() { return static_cast<double>(Next() >> 11) * 0x1.0p-53; }

    /// Triangular over (-halfWidth, halfWidth), most often near 0 and never outside.
    double Triangular(double halfWidth)
    {
        const double first = Uniform();
        return (first - Uniform()) * halfWidth;
    }

private:
    std::uint64_t state_;
};

} // namespace Board
