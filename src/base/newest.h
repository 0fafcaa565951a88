// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

/// Counts what makes void whatever of the same kind was asked for before: the moves of a slider, which pile up while
/// the line is busy, the presses of a button, the openings of a window.
class Newest
{
public:
    Newest() = default;
    Newest(const Newest &) = delete; // what it has handed out knows its address
    Newest &operator=(const Newest &) = delete;

    /// A new one begins; tells from now on whether it is still the newest.
    std::function<bool()> Next()
    {
        ++number_;
        return Present();
    }
    /// The same for the one at hand.
    std::function<bool()> Present() const
    {
        return [this, number = number_] { return number == number_; };
    }

private:
    int number_ = 0;
};
