// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/tone.h"

#include <QGuiApplication>
#include <QPalette>
#include <QWidget>

/// Whether a widget's texts have this tone.
inline bool HasTone(const QWidget *widget, Tone tone)
{
    return widget->styleSheet().isEmpty() &&
           widget->palette().color(widget->foregroundRole()) == Ink(tone, QGuiApplication::palette());
}
