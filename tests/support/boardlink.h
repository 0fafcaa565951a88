// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "programlink.h"
#include "simulation/simulatedboard.h"

#include <QTemporaryDir>

/// The virtual board and a link to it, without any window.
struct BoardLink : ProgramLink
{
    using ProgramLink::ProgramLink;

    /// Switches the board on and opens the port.
    bool Start(const QStringList &options = {})
    {
        board.SwitchOn(options);
        ClosePort();
        link.InitSerialPort();
        link.OpenPort();
        return com.PortOpen();
    }
    /// Greets the board and loads the words that it has stored.
    bool Connect()
    {
        connection.Start(link.handshake.ConnectBoard());
        return clock.RunUntil([this] { return connection.Idle(); }) && connection.ThrewNothing();
    }

    /// A file of the board.
    QString Path(const char *name) const { return folder.filePath(QLatin1String(name)); }

    QTemporaryDir folder;
    SimulatedBoard board{*port};
    Runner connection; ///< its coroutines end before the link does
};
