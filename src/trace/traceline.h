// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// One line of a trace, as docs/trace.md describes them.
struct TraceLine
{
    enum class Kind
    {
        Remark,   ///< the head, for its readers
        Sent,     ///< bytes of the program
        Received, ///< bytes of the board
        Event     ///< the port was opened, set, closed, lost
    };

    Kind kind = Kind::Remark;
    qint64 microseconds = 0; ///< since the beginning of the trace
    QByteArray bytes{};
    QString text{}; ///< what the bytes mean, or what has happened; of a remark, all of it

    /// With its end.
    QByteArray Text() const;

    /// The first line of every trace.
    static const QByteArray &Title();
};

/// Reads a line without its end, by this program or the virtual board's; what it said of the meaning is left out.
/// Throws Error with what is wrong in it.
TraceLine ReadTraceLine(const QByteArray &line);
