#pragma once

#include "coroutines.h"
#include "programlink.h"
#include "scriptedboard.h"

#include <QSignalSpy>

/// A link whose port leads to a scripted board, without any window.
struct LinkFixture : ProgramLink
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
    Runner runner; ///< its coroutines end before the link does
};
