// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "board_line.h"
#include "random.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>

/// A PC on a line between two processes, with a real time that the test makes up: each exchange takes a moment of its
/// own, timers are shortened by the time scale and late, and the machine stalls.
class HurriedPc
{
public:
    struct Machine
    {
        double scale = 1;
        double stalls = 0;         ///< probability of one, per exchange and per timer
        double longestStall = 0;   ///< s
        std::uint64_t seed = 1;    ///< of all that
        double latency = 0.000'25; ///< s; an exchange takes up to twice as long
    };

    HurriedPc(const Board::Options &options, const Machine &machine)
        : line(Scaled(options, machine), Board::BirthContent(options.device.pack), Board::BoardLine::Time::OfTheWire)
        , machine_(machine)
        , random_(machine.seed)
    {
        line.SetByteSeconds(10 / 9600.0);
    }

    Board::Bytes Exchange(std::initializer_list<int> bytes)
    {
        Delay(machine_.latency);
        Board::Bytes request;
        for (const int byte : bytes)
            request.push_back(static_cast<std::uint8_t>(byte));
        line.Receive(real, request);
        line.AdvanceTo(real);
        Board::Bytes reply;
        line.Outgoing().CopyArrived(real, reply);
        line.Outgoing().Drop(reply.size());
        return reply;
    }

    int ReadChannel(int channel)
    {
        const Board::Bytes reply = Exchange({27, channel});
        if (reply.size() != 4)
            throw std::runtime_error("not a channel's reply");
        return reply[1] * 256 + reply[2];
    }

    void Write(std::initializer_list<std::pair<int, int>> writes)
    {
        for (const auto &[command, value] : writes) {
            if (Exchange({27, command, value}).size() != 1)
                throw std::runtime_error("not an acknowledgement");
        }
    }

    int ReadClock()
    {
        const Board::Bytes reply = Exchange({27, 41});
        if (reply.size() != 5)
            throw std::runtime_error("not the clock's reply");
        return reply[1] * 3600 + reply[2] * 60 + reply[3];
    }

    void StartTimer(double milliseconds)
    {
        due_ = real + std::max(1.0, std::round(milliseconds / machine_.scale)) / 1000;
    }
    void AwaitTimer()
    {
        real = std::max(real, due_);
        Delay(machine_.latency);
    }
    void Pause(double milliseconds)
    {
        StartTimer(milliseconds);
        AwaitTimer();
    }
    /// Nobody does anything.
    void Rest(double seconds) { real += seconds / machine_.scale; }

    const Board::Device &Hardware() const { return line.Core().Hardware(); }

    Board::BoardLine line;
    double real = 0;

private:
    static Board::Options Scaled(Board::Options options, const Machine &machine)
    {
        options.timeScale = machine.scale;
        return options;
    }
    void Delay(double usual)
    {
        real += usual * 2 * random_.Uniform();
        if (random_.Uniform() < machine_.stalls)
            real += machine_.longestStall * random_.Uniform();
    }

    Machine machine_;
    Board::Random random_;
    double due_ = 0;
};
