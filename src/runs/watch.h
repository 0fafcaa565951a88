// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "link/codebas.h"

#include <functional>

/// Watches over a run whose end only this program sees. A board that is silent for ten seconds in the middle of an
/// exchange is asked again: a byte that is lost on the wire would hold up for ever whoever waits for it. A run that has
/// not got on for fifteen seconds, whatever the reason, is an alarm.
class Watch
{
public:
    Watch(Codebas &link, std::function<void()> alarm);

    /// A run begins or has got on.
    void GotOn();
    /// The run is over.
    void Rest();

    /// Whether it has not got on for more than a minute although no alarm has rung: the computer has slept.
    bool HasSlept() const;

private:
    void LookForSilence();

    Codebas &link_;
    Alarm silent_{[this] { LookForSilence(); }};
    Alarm stuck_;
    Stopwatch gotOn_;
};
