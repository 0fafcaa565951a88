// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QMainWindow;

/// Gives every button and menu of a window a letter, pressed with Alt, and every fixed entry of its menus one with
/// Ctrl. A letter is of the caption where there is one left, and stands in the tip of the button; no caption changes.
/// What the window gets later has none.
void GiveKeyLetters(QMainWindow &window);
