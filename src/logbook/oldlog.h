// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "logs/log.h"
#include "runentry.h"

/// What the log of a run says of it once the run itself is gone.
namespace oldlog {
/// The run that a log tells of, as far as it does; `cells` of the battery, 0 when nobody knows, tell whether a
/// discharge has gone to its end. Throws FileError, for a monitor's log too, which tells of no run of ours.
RunEntry Read(const QString &path, int cells = 0);

/// Closes the entry of a run whose program is gone: what the log says is added to what was entered before it was begun.
void CloseCut(RunEntry &run);

/// By which the content of a log is known again; empty for one that cannot be read.
QString Digest(const QString &path);
} // namespace oldlog
