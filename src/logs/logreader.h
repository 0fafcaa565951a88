// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "log.h"

#include <optional>
#include <string>
#include <string_view>

struct LogFormat;

/// Reads a log in pieces of any size, as it grows. Either decimal separator will do, lines may end with or without a
/// carriage return. A line counts once its end is there: what a torn last line holds is not known.
class LogReader
{
public:
    void Take(std::string_view bytes);

    /// The first line is not that of a log; nothing more is read.
    bool Foreign() const { return foreign_; }
    /// Null until the first line has come, and for a foreign file.
    const Log *Contents() const { return log_ ? &*log_ : nullptr; }
    /// Lines that are no records; they are left out.
    size_t Unreadable() const { return unreadable_; }

private:
    void TakeLine(std::string_view line);
    void TakeHeader(std::string_view line);
    bool TakeFields(std::string_view line);
    void TakeRecord();
    void BeginStep();

    const LogFormat *format_ = nullptr;
    std::optional<Log> log_;
    std::string rest_;             ///< of a line whose end has not come
    std::vector<double> fields_;   ///< of the record in hand
    std::optional<double> former_; ///< time of the record before, as the log has it
    double shift_ = 0;             ///< seconds from the log's time to ours
    double missing_ = 0;           ///< milliampere-hours that the log's capacity lost with its time
    bool foreign_ = false;
    size_t unreadable_ = 0;
};
