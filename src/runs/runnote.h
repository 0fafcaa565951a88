// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// What has ended a run other than its rule or its user, in a file beside the run's log: a line each, with the time.
namespace runnote {
/// The log's name with ".note"; for a run without a log "voltaire.note" in the drive's "temp".
QString PathOf(const QString &log);

/// The last line of such a file; empty when there is none.
QString LastLine(const QString &note);

/// Adds a line to it. On a disk that takes nothing more the window's word has to do.
void Add(const QString &log, const QString &text);
} // namespace runnote
