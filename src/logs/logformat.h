// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "log.h"

#include <QByteArray>

#include <optional>

/// How each kind of log is laid out.
struct LogFormat
{
    Log::Kind kind;
    char separator;
    size_t timeColumn;
    /// Where the capacity is that goes wrong with the time, and the current that it is summed up from.
    struct Sum
    {
        size_t capacity, current;
    };
    std::optional<Sum> sum;
    std::vector<Log::Column> columns; ///< without values
    std::vector<double> scales;       ///< what a number of the file is multiplied by to have the column's unit

    /// The format whose header this line is; null for any other line.
    static const LogFormat *OfHeader(const QByteArray &line);
};
