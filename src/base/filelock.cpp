// SPDX-License-Identifier: GPL-3.0-or-later
#include "filelock.h"

#include <QFile>

#include <sys/file.h>

bool filelock::Take(const QFile &file)
{
    return flock(file.handle(), LOCK_EX | LOCK_NB) == 0;
}
