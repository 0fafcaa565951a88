// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// The rules that every number shown, written or read by the windows follows.
namespace number {
/// Plain decimal text, never with an exponent: at most 15 significant digits, a point, and a blank in place of the sign
/// when it is not negative.
QString Str(double value);

/// Str without the sign blank.
QString Plain(double value);

/// As numbers go into files: Str with the locale's decimal separator and one trailing blank.
QString FileText(double value);

/// The same in its shortest form, with an exponent (1.5E-05) below 0.0001 and from 1E+15 on.
QString ShortestFileText(double value);

/// The number that a text begins with, blanks left out; 0 when it begins with none.
double Val(const QString &text);

/// The largest whole number that is not above the value.
double Int(double value);

/// Rounds to a whole number (halves to the even one) that fits an unsigned byte; else throws Overflow.
quint8 ToByte(double value, const QString &where);

/// Rounds to a whole number (halves to the even one) that fits signed 16 bits; else throws Overflow.
qint16 ToInt16(double value, const QString &where);

/// dividend / divisor; throws DivisionByZero.
double Divide(double dividend, double divisor, const QString &where);
} // namespace number
