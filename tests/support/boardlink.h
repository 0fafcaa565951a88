#pragma once

#include "boardprocess.h"
#include "coroutines.h"
#include "programlink.h"

#include <QtTest>

/// The virtual board and a link to it, without any window.
struct BoardLink : ProgramLink
{
    /// Starts the board and opens the port.
    bool Start(const QStringList &options = {})
    {
        if (!board.Start(options))
            return false;
        link.ClosePort();
        com.SetPortName(board.Port());
        link.InitSerialPort();
        link.OpenPort();
        return true;
    }
    /// Greets the board and loads the words that it has stored.
    bool Connect()
    {
        connection.Start(link.ConnectBoard());
        return QTest::qWaitFor([this] { return connection.Idle(); }, 30000) && connection.ThrewNothing();
    }

    BoardProcess board;
    Runner connection; ///< its coroutines end before the link does
};
