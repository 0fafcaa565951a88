// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "base/interrupt.h"
#include "main.h"

#include <optional>

/// The program's last moments. Whatever asks it to end (a signal, an unattended run that is over, an error in one), it
/// ends as soon as all that it has switched on is known to be off, and says so when it must end without knowing.
class WayOut : public QObject
{
    Q_OBJECT

public:
    static constexpr int failed = 1;
    static constexpr int unconfirmed = 4; ///< in the place of any other status but that of a failure

    explicit WayOut(Main &main);

    /// Ends the program with this status, unless another one is on its way; ten seconds later at the latest.
    void Take(int status);

    /// The same for a run whose board measures no more: it may be plugged in again, so there is more time. What may be
    /// on is said at once.
    void TakeAfterAlarm();

    /// The user's session on the computer ends, or would: what is on is stopped, and the system ends the program.
    void SessionEnds();

Q_SIGNALS:
    /// It is time to end, with this status.
    void Left(int status);

private:
    void Interrupted(int signal);
    bool IsOff() const { return outputs_.WhatIsWatched().off.empty(); }
    void LookWhetherOff();
    void Warn() const;
    void Leave();

    Main &main_;
    Outputs &outputs_;
    Interrupt interrupt_;
    std::optional<int> status_; ///< with which it will end
    bool interrupted_ = false;
    bool left_ = false;
    Alarm patience_{[this] { Leave(); }};
};
