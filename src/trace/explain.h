// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

/// Reads a trace, this program's or the virtual board's, and gives each of its lines with what it means as it is
/// understood now. A last line without an end is left out: it is still being written. Throws FileError.
void Explain(const QString &path, const std::function<void(const QByteArray &line)> &print);
