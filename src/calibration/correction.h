// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// The arithmetic of the calibration: from a count and its true value to the word that the board keeps, and to the
/// bytes in which it keeps it.
namespace calibration {
/// The whole word with which `count` reads as the true value, given in hundredths of a volt or of an ampere; a true
/// value of 0 throws DivisionByZero. `where` says of what, in French.
double Correction(double count, double hundredths, const QString &where);

/// The steps of a current setting for an ampere: `setting`, 0 to 255, gave a current of so many hundredths of an
/// ampere; 0 of them throw DivisionByZero.
double SettingScale(double setting, double hundredths, const QString &where);

/// A word in two bytes, as the board keeps it.
struct HiLo
{
    quint8 ValHi;
    quint8 ValLo;
};

/// Splits a word; throws Overflow when it is negative or above 65535.
HiLo SplitHiLo(double value, const QString &where);

/// Splits any whole number and keeps the low eight bits of both parts, in two's complement for a negative one.
HiLo SplitLowBits(double value);
} // namespace calibration
