// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class QWidget;

/// Title bars, and with them the task bar, may say something else than the title of their window for a while.
namespace title {
/// Says it; nothing lets the window have its title again.
void Say(QWidget &window, const QString &text);

/// The window's own title, whatever its bar says: that of its messages.
QString Of(const QWidget &window);
} // namespace title
