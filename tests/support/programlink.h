#pragma once

#include "link/codebas.h"

/// The program's end of the line, without any window.
struct ProgramLink
{
    Com com;
    Timer timer1{QStringLiteral("Timer1"), 200, nullptr};
    Timer timer2{QStringLiteral("Timer2"), 20, nullptr};
    Codebas link{com, timer1, timer2};
};
