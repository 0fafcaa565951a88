// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <QString>

/// Something that happens to the program: what its operator does, or what goes wrong around it.
struct Act
{
    Clock::Duration at{}; ///< since the beginning of the story
    QString verb;         ///< "click", "type", ..., or "fault"
    QString window;       ///< objectName of a window; the kind of a fault
    QString target;       ///< objectName of a control
    QString value;        ///< what is typed, chosen, set; how long a fault lasts

    /// One line of a story.
    QString Text() const;
};

/// "   12.345678 s": a moment of a story.
QString MomentText(Clock::Duration at);
