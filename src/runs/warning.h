// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class QLabel;
class QWidget;

/// Words in red, out of sight at first.
QLabel *RedWarning(const QString &text, QWidget *parent);

/// Puts a warning, or a button, at the right of the title line of a window's frame, where nothing moves when it
/// appears.
void PutOnTitleLine(QWidget *warning, QWidget *frame);
