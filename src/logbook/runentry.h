// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runs/runnews.h"

#include <QDate>
#include <QDateTime>

#include <optional>

/// What a run amounts to.
struct RunFigures
{
    double milliampereHoursIn = 0;
    double milliampereHoursOut = 0;
    double wattHoursIn = 0;
    double wattHoursOut = 0;
    double seconds = 0;
    std::optional<double> highestTemperature; ///< °C; none while the board is not calibrated for it
    std::optional<double> lowestVolts;
    std::optional<double> highestVolts;
    std::optional<double> resistance; ///< milliohms, as it was measured last
    std::optional<double> capacity;   ///< milliampere-hours of the last discharge that went to its end
};

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
