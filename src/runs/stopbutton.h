// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runnews.h"

#include <QObject>

class QAbstractButton;

/// Makes the "Arret" of a window hard to miss while a run of this window is on: it is red, and Esc presses it.
class StopButton : public QObject
{
    Q_OBJECT

public:
    /// Lives as long as the button.
    StopButton(QAbstractButton &button, const RunNews &news);

    /// Red, with a text that can be read on it, whatever the palette.
    static void Paint(QAbstractButton &button);
};
