// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSize>

class QMainWindow;
class QWidget;

/// What the screen has room for of a window, without its frame, in pixels.
QSize RoomOnScreen(const QWidget &window);

/// Keeps a window that is about to be shown, or has grown, within its screen, with room for its frame. What it holds
/// scrolls from then on if it needs more room than there is; bars stay in sight.
void FitOnScreen(QMainWindow &window);
