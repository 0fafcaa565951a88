// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "device.h"
#include "memories.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Board {

using Bytes = std::vector<std::uint8_t>;

/// Reads the PC's bytes one at a time and does what they ask. A command is the escape byte 27, a command byte and its
/// parameters. Between commands 85 is a greeting, answered by 27; 170 right after it is answered by 85. Anything else
/// is ignored.
class Interpreter
{
public:
    Interpreter(Device &device, Memories &memories) : device_(device), memories_(memories) {}

    /// Takes a byte and appends what the board answers.
    void Take(std::uint8_t byte, Bytes &reply);

    /// The board sends records by itself; commands are taken apart but not done until the next greeting.
    bool Streaming() const { return streaming_; }

    /// The next byte begins a request.
    bool BetweenRequests() const { return state_ == State::Between || state_ == State::Greeted; }

    /// Commands done or ignored since the start.
    unsigned long Commands() const { return commands_; }
    /// The last of them, from its escape byte on.
    Bytes LastRequest() const;

    /// Forgets everything that has been received, as a board does that was switched off.
    void Restart();

private:
    enum class State
    {
        Between,
        Greeted,
        Escaped,
        Parameters
    };

    static constexpr std::size_t mostParameters = 2 + Memories::flashBlock;

    void TakeBetween(std::uint8_t byte, Bytes &reply);
    void Do(Bytes &reply);
    void DoLine(std::uint8_t value);
    void DoDoubler();
    void Read(Bytes &reply, std::uint8_t value) const;
    void ReadWord(Bytes &reply, int value) const;
    std::size_t Address(std::size_t first) const;

    Device &device_;
    Memories &memories_;
    State state_ = State::Between;
    bool streaming_ = false;
    unsigned long commands_ = 0;
    std::uint8_t command_ = 0;
    std::size_t wanted_ = 0;
    std::size_t taken_ = 0;
    std::array<std::uint8_t, mostParameters> parameters_{};
};

} // namespace Board
