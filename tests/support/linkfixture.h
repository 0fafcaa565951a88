// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "programlink.h"

#include <QSignalSpy>

/// A link whose port leads to a scripted board, without any window.
struct LinkFixture : ProgramLink
{
    LinkFixture() { link.InitSerialPort(); }

    /// Whether so many bytes wait at the program's end at this moment.
    bool Arrived(int count) { return com.InBufferCount() == count; }

    ScriptedBoard board{*port};
    Runner runner; ///< its coroutines end before the link does
};
