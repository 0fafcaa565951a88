// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runs/runsum.h"

#include <QDate>
#include <QDateTime>

#include <optional>

/// A run as the logbook has it.
struct RunEntry
{
    enum class End
    {
        On,      ///< it is not over
        Rule,    ///< as it was to
        Stop,    ///< its user's "Arret"
        Cause,   ///< a limit, sleep, a signal: `why`
        Guard,   ///< the guard had to act
        Error,   ///< `why`
        Left,    ///< its window was closed, or the program
        Restart, ///< another start has taken its place
        Cut,     ///< the program has gone in its middle
        Unknown  ///< its log does not say
    };

    QString id; ///< by which it is known again; made by NewId
    RunNews::Kind kind = RunNews::Kind::Charge;
    QDateTime began; ///< on the user's clock
    QDateTime ended; ///< invalid while it is on
    End end = End::On;
    QString why;
    RunFigures figures;
    QString settings;
    QString log;    ///< its path; empty when there is none
    QString digest; ///< by which the log's content is known again; empty while it is not over
    QString pack;   ///< the name of the battery; empty for none

    static QString NewId();
};

/// A battery of the user's.
struct Pack
{
    QString name;
    QString chemistry;
    int cells = 0;   ///< 0 while nobody has said
    int nominal = 0; ///< milliampere-hours; 0 while nobody has said
    QDate since;     ///< invalid while nobody has said
    QString note;

    bool operator==(const Pack &) const = default;
};

/// Which runs are wanted.
struct RunFilter
{
    std::optional<QString> pack; ///< empty: those of no pack
    std::optional<RunNews::Kind> kind;
    QDate from, to; ///< days on which they began, both included; invalid for no limit
};

/// How a run of a kind went with a pack.
struct LastTime
{
    double seconds = 0;
    double milliampereHours = 0; ///< of a capacity measurement those of its last discharge
};

/// A run of a pack that has told something of its state.
struct PackCycle
{
    QDateTime began;
    std::optional<double> capacity;   ///< milliampere-hours
    std::optional<double> resistance; ///< milliohms
};
