// SPDX-License-Identifier: GPL-3.0-or-later
#include "paint.h"

#include "tone.h"

namespace paint {
void Lamp(QLabel *lamp, const QColor &colour)
{
    QPalette palette = lamp->palette();
    palette.setColor(QPalette::Window, colour);
    lamp->setPalette(palette);
}

void Refused(QLineEdit *entry, bool refused)
{
    SetGround(*entry, refused ? Tone::Danger : Tone::Plain);
}
} // namespace paint
