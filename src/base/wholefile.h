// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

/// Files that are read and written in one piece, as bytes. Everything throws FileError.
namespace wholefile {
/// All of an ordinary file; one of more than `largest` bytes is refused.
QByteArray Read(const QString &path, qint64 largest);

/// Puts these bytes in the place of a file; until all of them are on disk it stays as it was.
void Replace(const QString &path, const QByteArray &bytes);
} // namespace wholefile
