#pragma once

#include "boardprocess.h"
#include "link/codebas.h"
#include "support/coroutines.h"

#include <QtTest>

/// The virtual board and a link to it, without any window.
struct BoardLink
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
    Com com;
    Timer timer1{QStringLiteral("Timer1"), 200, nullptr};
    Timer timer2{QStringLiteral("Timer2"), 20, nullptr};
    Codebas link{com, timer1, timer2};
    Runner connection; ///< its coroutines end before the link does
};
