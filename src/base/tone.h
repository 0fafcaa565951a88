// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>

class QPalette;
class QWidget;

/// What a colour says. It never says it alone: a word or a shape stands beside it, for whoever cannot tell them apart.
enum class Tone
{
    Plain,   ///< the colour of any text
    Quiet,   ///< not true any more, or not known
    Good,    ///< as it should be
    Caution, ///< something flows, or wants to be looked at
    Danger   ///< must not be missed
};

/// The colour for texts and marks of this tone on this palette's windows, light or dark.
QColor Ink(Tone tone, const QPalette &palette);

/// Gives a widget's texts this tone, and keeps it when the palette changes.
void SetTone(QWidget &widget, Tone tone);

/// Gives a widget's texts this colour, as far as it can be read where they stand, and keeps it when the palette
/// changes.
void SetInk(QWidget &widget, const QColor &colour);

/// Mixes a little of this tone into what a widget is filled with, and keeps it when the palette changes.
void SetGround(QWidget &widget, Tone tone);

/// What stands in an empty entry can be read.
void SetReadableHint(QWidget &widget);

/// Fills a text that cannot be edited with what is around it, so that it does not look as if it could.
void SetFlat(QWidget &widget);

/// The colour, made darker or lighter until its contrast on this ground is at least so much (1 to 21), as far as it can
/// be.
QColor Readable(const QColor &colour, const QColor &ground, double contrast);

/// What texts need on their ground, and lines.
constexpr double textContrast = 4.5;
constexpr double lineContrast = 3;

/// Whether light colours can be read on it better than dark ones.
bool IsDark(const QColor &ground);

/// How much of the other colour is mixed into one: `part` of 0 to 1.
QColor Mixed(const QColor &one, const QColor &other, double part);

/// How well one colour can be read on the other: 1 (not at all) to 21; texts need 4.5. (WCAG 2.1, contrast ratio)
double Contrast(const QColor &one, const QColor &other);
