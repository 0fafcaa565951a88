// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStringList>

class QWidget;

/// What is wrong with the looks of a window that is shown, in words for whoever mends it. Nothing when it is as it
/// should be.
namespace complaints {
/// It is larger than its screen, title bar included, or a control lies outside it and nothing scrolls there.
QStringList OfPlace(const QWidget &window);

/// A text is wider or higher than the place that it has.
QStringList OfTexts(const QWidget &window);

/// Two widgets of one parent lie on one another.
QStringList OfOverlaps(const QWidget &window);

/// A text has less contrast on its ground than 4.5 : 1, as the picture of the window shows it.
QStringList OfContrast(QWidget &window);
} // namespace complaints
