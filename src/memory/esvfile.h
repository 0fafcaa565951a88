// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>

/// Image files of an on-chip EEPROM: its 256 bytes as decimal numbers, one a line. Nothing in a file says which
/// microcontroller it came from.
namespace esvfile {
constexpr int imageSize = 256;
constexpr qint64 largestFile = 1 << 16; ///< some thirty times what an image takes

/// The text of a file with these bytes: each with a blank on both sides, lines ended by CR LF.
QByteArray Write(QByteArrayView image);

/// The bytes that a file's text begins with, at most imageSize: whole numbers of 0 to 255, separated by commas or line
/// ends, blanks around them left out. Reading stops at the first thing that is none.
QByteArray Read(QByteArrayView text);
} // namespace esvfile
