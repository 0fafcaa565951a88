// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "interpreter.h"
#include "random.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Board {

/// One way in which the line or the board misbehaves.
struct FaultRule
{
    enum class Kind
    {
        Lost,    ///< a byte does not arrive
        Added,   ///< a byte arrives that nobody sent
        Late,    ///< a byte, and all behind it, arrive later
        Silence, ///< the board neither hears nor answers
        Restart  ///< the board starts anew
    };

    Kind kind = Kind::Lost;
    double probability = 0;  ///< per byte, or per command for silence and restart
    unsigned long at = 0;    ///< once, at this byte or command counted from 1; 0: never
    double milliseconds = 0; ///< of lateness or silence; a silence of 0 lasts for ever
    bool fromBoard = true;   ///< lost, added: the bytes that the board sends...
    bool toBoard = false;    ///< ...or receives
};

/// Reads "KIND[:key=value,...]"; nothing when it is not a fault.
std::optional<FaultRule> ParseFault(std::string_view text);

/// Applies the rules, with a generator of its own so that the same seed gives the same faults.
class Faults
{
public:
    struct Delayed
    {
        std::uint8_t byte;
        double seconds; ///< after the moment it would have left
    };

    enum class Event
    {
        None,
        Silence,
        Restart
    };

    Faults(std::vector<FaultRule> rules, std::uint64_t seed) : rules_(std::move(rules)), random_(seed) {}

    /// What the board hears instead of the byte.
    void Hear(std::uint8_t byte, Bytes &heard);
    /// What leaves instead of the byte.
    void Send(std::uint8_t byte, std::vector<Delayed> &sent);
    /// What happens after a command. For a silence, SilenceSeconds() then says how long; 0 is for ever.
    Event AfterCommand();
    double SilenceSeconds() const { return silenceSeconds_; }

private:
    bool Strikes(const FaultRule &rule, unsigned long number);

    std::vector<FaultRule> rules_;
    Random random_;
    unsigned long heard_ = 0;
    unsigned long sent_ = 0;
    unsigned long commands_ = 0;
    double silenceSeconds_ = 0;
};

} // namespace Board
