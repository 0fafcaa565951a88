// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controller.h"

#include <initializer_list>
#include <stdexcept>
#include <utility>

/// A PC in front of a board in the same process, in simulated time: every exchange takes the time that its bytes need
/// at 9600 baud, unless told otherwise.
class Pc
{
public:
    explicit Pc(const Board::DeviceOptions &options, std::uint8_t streamType = 2)
        : board(options, Board::BirthContent(options.pack), streamType)
    {
    }

    /// Sends the bytes and returns everything that the board answers.
    Board::Bytes Exchange(std::initializer_list<int> bytes)
    {
        Board::Bytes reply;
        for (const int byte : bytes)
            board.Take(now, static_cast<std::uint8_t>(byte), reply);
        now += exchangeSeconds;
        return reply;
    }

    /// 27, n answered by 27, high, low and a byte that nobody looks at.
    int ReadChannel(int channel)
    {
        const Board::Bytes reply = Exchange({27, channel});
        if (reply.size() != 4 || reply[0] != 27 || reply[1] >= 128)
            throw std::runtime_error("not a channel's reply");
        return reply[1] * 256 + reply[2];
    }

    /// 27, r, v answered by one byte.
    void Write(int command, int value)
    {
        if (Exchange({27, command, value}).size() != 1)
            throw std::runtime_error("not an acknowledgement");
    }

    void Write(std::initializer_list<std::pair<int, int>> writes)
    {
        for (const auto &[command, value] : writes)
            Write(command, value);
    }

    int ReadClock()
    {
        const Board::Bytes reply = Exchange({27, 41});
        if (reply.size() != 5 || reply[0] != 27)
            throw std::runtime_error("not the clock's reply");
        return reply[1] * 3600 + reply[2] * 60 + reply[3];
    }

    void Wait(double seconds) { now += seconds; }

    const Board::Battery &Pack() const { return board.Hardware().Pack(); }

    Board::Controller board;
    double now = 0;
    double exchangeSeconds = 0.006;
};
