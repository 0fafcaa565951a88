// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDir>
#include <QFile>

#include <ctime>

/// Seconds on the clock that all processes share.
inline double Now()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// Seconds of processor time that the threads of a process have used.
inline double ProcessorTime(qint64 process)
{
    double nanoseconds = 0;
    const QDir threads(QStringLiteral("/proc/%1/task").arg(process));
    for (const QString &thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(threads.filePath(thread + QStringLiteral("/schedstat")));
        if (file.open(QIODevice::ReadOnly))
            nanoseconds += file.readAll().split(' ').constFirst().toDouble();
    }
    return nanoseconds / 1e9;
}
