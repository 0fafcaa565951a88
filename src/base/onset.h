// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <utility>

/// Tells the beginning of a trouble from its going on, so that it is said once.
class Onset
{
public:
    /// To be called with whether it is there, each time that it is looked for; true when it was not there before.
    bool Begins(bool there)
    {
        const bool was = std::exchange(there_, there);
        return there && !was;
    }
    void Forget() { there_ = false; }

private:
    bool there_ = false;
};
