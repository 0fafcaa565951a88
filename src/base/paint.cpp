// SPDX-License-Identifier: GPL-3.0-or-later
#include "paint.h"

namespace paint {
namespace {
const QColor refusedColour(255, 205, 205);
}

void Lamp(QLabel *lamp, const QColor &colour)
{
    QPalette palette = lamp->palette();
    palette.setColor(QPalette::Window, colour);
    lamp->setPalette(palette);
}

void Refused(QLineEdit *entry, bool refused)
{
    QPalette palette; // the entry has colours of its own only while it is marked
    if (refused)
        palette.setColor(QPalette::Base, refusedColour);
    entry->setPalette(palette);
}
} // namespace paint
