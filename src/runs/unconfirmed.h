#pragma once

#include "link/outputs.h"

class QLabel;

/// Puts a warning beside a window's state, in sight for as long as it is not certain that what was ended is off.
void ShowUnconfirmed(Outputs &outputs, QLabel *state);
