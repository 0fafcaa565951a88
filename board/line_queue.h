#pragma once

#include "faults.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace Board {

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

    /// How many bytes have arrived at the moment.
    std::size_t Arrived(double seconds) const
    {
        std::size_t count = 0;
        while (count < bytes_.size() && bytes_[count].arrives <= seconds)
            ++count;
        return count;
    }

    std::uint8_t At(std::size_t index) const { return bytes_[index].byte; }
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
