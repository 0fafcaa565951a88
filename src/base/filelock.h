// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QFile;

/// A lock on a file by which other programs see that this one lives: it ends with the open file, whatever ends that.
namespace filelock {
/// Locks an open file; false when somebody else has it open and locked.
bool Take(const QFile &file);
} // namespace filelock
