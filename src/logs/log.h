// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <vector>

/// What a log of the program holds, as plain columns: a number for each record, in the order of the file.
struct Log
{
    enum class Kind
    {
        Charge,
        Discharge,
        Capacity,
        Monitor
    };
    struct Column
    {
        QString name;  ///< at the head of the log
        QString label; ///< for people, in French
        QString unit;  ///< empty for the board's own counts
        std::vector<double> values;
    };

    Kind kind = Kind::Charge;
    std::vector<Column> columns;
    /// Seconds since the run began. Unlike the log's own they do not fall back at midnight, when the board's clock
    /// does, nor at the second phase of a capacity measurement.
    std::vector<double> seconds;
    /// The first record of each step. Only a capacity measurement has a second one: the charge that follows the
    /// discharge.
    std::vector<size_t> steps{0};
    /// The run has come to its end; only a capacity measurement says so in its log.
    bool ended = false;

    size_t Records() const { return seconds.size(); }
    /// From 1 on.
    int StepOf(size_t record) const;
    /// The column of that name; null when there is none.
    const Column *Find(const QString &name) const;
};
