// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "logreader.h"

/// A log on disk, which may still grow.
class LogFile
{
public:
    /// Reads what is there. Throws FileError, for a file that is no log of the program too.
    explicit LogFile(const QString &path);

    enum class News
    {
        Nothing,
        More, ///< records behind those of before
        Anew  ///< the file is another one now, and was read from its beginning
    };
    /// Reads what has come since. What was read stays when the file is gone, or has become anything but a log.
    News Continue();

    const Log &Contents() const { return *reader_.Contents(); }
    size_t Unreadable() const { return reader_.Unreadable(); }
    QString Path() const { return path_; }

private:
    QString path_;
    LogReader reader_;
    qint64 read_ = 0;   ///< bytes
    QByteArray ending_; ///< the last of them, by which the file is known again
};
