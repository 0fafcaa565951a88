// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "interpreter.h"

#include <optional>
#include <string>
#include <vector>

namespace Board {

/// Takes a stream of the PC's bytes apart into requests: an escape byte with all that belongs to it, or a single byte
/// that stands between two of them, as greetings do.
class RequestSplitter
{
public:
    explicit RequestSplitter(bool booster) : booster_(booster) {}

    /// The request that this byte completes.
    std::optional<Bytes> Take(std::uint8_t byte);

private:
    const bool booster_;
    Bytes begun_;
};

/// What went over the line of a board that was traced.
struct ReplayScript
{
    struct Byte
    {
        std::uint8_t byte;
        double after; ///< s since the request
    };
    struct Step
    {
        Bytes request;
        int line; ///< of the file, counted from 1
        std::vector<Byte> answer{};
    };
    std::vector<Step> steps;

    /// Reads a trace of Voltaire's; what the board said before it was asked anything is left out. Throws
    /// std::runtime_error, in French, for a file that cannot be read or is none.
    static ReplayScript Read(const std::string &path, bool booster);
};

} // namespace Board
