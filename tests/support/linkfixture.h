#pragma once

#include "link/codebas.h"
#include "scriptedboard.h"
#include "support/coroutines.h"

#include <QSignalSpy>

/// A link whose port leads to a scripted board, without any window.
struct LinkFixture
{
    LinkFixture()
    {
        com.SetPortName(board.Port());
        link.InitSerialPort();
    }

    /// Waits, without letting events run, until so many bytes wait at the program's end.
    bool Arrived(int count) const
    {
        QElapsedTimer watch;
        for (watch.start(); com.InBufferCount() < count && watch.elapsed() < 5000;)
            QThread::usleep(200);
        return com.InBufferCount() == count;
    }

    ScriptedBoard board;
    Com com;
    Timer timer1{QStringLiteral("Timer1"), 200, nullptr};
    Timer timer2{QStringLiteral("Timer2"), 20, nullptr};
    Codebas link{com, timer1, timer2};
    Runner runner; ///< its coroutines end before the link does
};
