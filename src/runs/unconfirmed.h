// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/outputs.h"

class QLabel;

/// A warning that is in sight for as long as it is not certain that what was ended is off.
QLabel *UnconfirmedWarning(Outputs &outputs, QWidget *parent);

/// Puts that warning on the title line of the frame in which a window shows its state.
void ShowUnconfirmed(Outputs &outputs, const QLabel *state);
