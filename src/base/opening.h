// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "newest.h"

/// The time from the opening of a window to its closing: what belongs to one that is over is void, also when the window
/// is open again.
class Opening
{
public:
    /// Thrown where something goes on whose opening is over: the window's controls are no longer its own. It ends a
    /// handler without a word.
    struct Over
    {
    };

    void Begin() { openings_.Next(); }
    void End() { openings_.Next(); }

    /// Tells from now on whether the present one lasts.
    std::function<bool()> Lasts() const { return openings_.Present(); }

private:
    Newest openings_;
};
