// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/houserules.h"
#include "help/helpmenu.h"
#include "simulation/simulatedboard.h"
#include "simulation/simulatedclock.h"
#include "ui/main/main.h"
#include "ui/main/portswitch.h"

#include <QTemporaryDir>

#include <optional>

/// The whole program on a virtual board of its own, always the same one, for whoever wants to look at its windows.
class Album
{
public:
    Album();
    ~Album();

    /// The names of all windows, the main window first.
    static const QStringList &Windows();

    /// Opens a window as a user does, and closes the one before.
    QWidget &Show(const QString &window);

    /// Opens a window with something to see in it: a run after half an hour, a stream, an open file.
    QWidget &ShowAtWork(const QString &window);

    /// Takes the board's cable away until it is given back.
    void Unplug() { port_->Unplug(); }
    void Plug() { port_->Plug(); }

    SimulatedClock &Time() { return clock_; }
    SimulatedBoard &Board() { return board_; }

private:
    void Leave();
    QWidget &Find(const QString &window) const;
    static void Press(const QWidget &window, const char *button);
    void Connect();
    void Work(const QWidget &window, Clock::Duration length);

    HouseRules rules_;
    SimulatedClock clock_;
    QTemporaryDir folder_;
    MemoryPort *port_ = new MemoryPort;
    SimulatedBoard board_{*port_};
    std::optional<Main> main_; ///< begins at the moment that the pictures are of
    std::optional<PortSwitch> portMenu_;
    std::optional<HelpMenu> helpMenu_;
};
