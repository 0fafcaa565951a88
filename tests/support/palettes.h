// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPalette>

/// Palettes as desktops have them.
namespace palettes {
inline QPalette Light()
{
    return QPalette(QColor(239, 239, 239));
}

inline QPalette Dark()
{
    const QColor window(53, 53, 53), faint(127, 127, 127), blue(42, 130, 218);
    QPalette dark(window);
    dark.setColor(QPalette::Base, QColor(35, 35, 35));
    dark.setColor(QPalette::AlternateBase, window);
    dark.setColor(QPalette::ToolTipBase, window);
    dark.setColor(QPalette::ToolTipText, Qt::white);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        dark.setColor(role, Qt::white);
        dark.setColor(QPalette::Disabled, role, faint);
    }
    dark.setColor(QPalette::PlaceholderText, QColor(170, 170, 170));
    dark.setColor(QPalette::Highlight, blue);
    dark.setColor(QPalette::HighlightedText, Qt::black);
    return dark;
}
} // namespace palettes
