// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QMainWindow;

/// Gives a window, once and before it is shown, what all windows have in common: letters in proportion to the
/// application's, fields of one width, entries that look editable where they are, an icon, and a key for each button.
void Dress(QMainWindow &window);
