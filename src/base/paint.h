// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>
#include <QLineEdit>

/// Colours with which the windows say something.
namespace paint {
/// Fills a lamp with a colour, and marks it for whoever cannot tell colours apart: green has a tick, red a cross, grey
/// a dash.
void Lamp(QLabel *lamp, const QColor &colour);

/// Marks an entry of which nothing can be made, or takes the mark away.
void Refused(QLineEdit *entry, bool refused);
} // namespace paint
