// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "faults.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace Board {

/// The sooner of two moments, or the only one that there is.
inline std::optional<double> Sooner(std::optional<double> a, std::optional<double> b)
{
    return !b || (a && *a < *b) ? a : b;
}

/// Bytes on their way in one direction of the line, each with the moment at which it arrives. Moments are real seconds
/// and never go backwards: a byte waits for those before it.
class LineQueue
{
public:
    /// A byte that sets out at the moment, or when the wire is free, and is on the wire for as long as given.
    void Add(std::uint8_t byte, double seconds, double byteSeconds)
    {
        last_ = (seconds > last_ ? seconds : last_) + byteSeconds;
        bytes_.push_back({byte, last_});
    }

    bool Empty() const { return bytes_.empty(); }
    std::size_t Size() const { return bytes_.size(); }
    /// Drops everything and frees the wire.
    void Clear() { *this = LineQueue(); }

    /// When the first byte arrives.
    std::optional<double> Next() const { return bytes_.empty() ? std::nullopt : std::optional(bytes_.front().arrives); }

    /// Appends those that have arrived at the moment.
    void CopyArrived(double seconds, std::vector<std::uint8_t> &out) const
    {
        for (std::size_t i = 0; i < bytes_.size() && bytes_[i].arrives <= seconds; ++i)
            out.push_back(bytes_[i].byte);
    }

    std::uint8_t First() const { return bytes_.front().byte; }
    void Drop(std::size_t count) { bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count)); }

private:
    struct Moving
    {
        std::uint8_t byte;
        double arrives;
    };

    std::deque<Moving> bytes_;
    double last_ = 0;
};

} // namespace Board
