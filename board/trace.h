// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "interpreter.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace Board {

/// A text file with one line per burst of bytes: seconds since the start, direction, the bytes in decimal. "in" is
/// what came from the PC, "out" what was sent to it.
class Trace
{
public:
    /// An empty path means no trace. Throws std::system_error.
    explicit Trace(const std::string &path);

    void Note(double seconds, std::string_view direction, const std::uint8_t *bytes, std::size_t count);

private:
    struct Closer
    {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> file_;
};

} // namespace Board
