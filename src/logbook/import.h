// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "logbook.h"

/// Enters old logs into the logbook, as runs of `pack` (empty for none): each once, wherever it lies and whatever it is
/// called. What it did with each is printed; true when all are entered now.
bool ImportLogs(Logbook &book, const QStringList &logs, const QString &pack);
