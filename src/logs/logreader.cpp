// SPDX-License-Identifier: GPL-3.0-or-later
#include "logreader.h"

#include "capacity/capacityfile.h"
#include "capacity/capacityrules.h"
#include "logformat.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace {
constexpr size_t longestLine = 4096;
constexpr double secondsOfDay = 86400;

std::string_view Trimmed(std::string_view text)
{
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// A number with a point or a comma. No "inf" and no "nan", which are nothing to draw.
std::optional<double> NumberOf(std::string_view field)
{
    const std::string_view text = Trimmed(field);
    char copy[40];
    if (text.empty() || text.size() > sizeof copy)
        return std::nullopt;
    char *const end = std::ranges::replace_copy(text, copy, ',', '.').out;
    double value = 0;
    const auto [stop, error] = std::from_chars(copy, end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

/// The part of a monitor's record behind its first field, which is any character at all, even a comma or a line end.
std::string_view LastFields(std::string_view line, char separator, size_t count)
{
    size_t begin = line.size();
    while (begin > 0 && (line[begin - 1] != separator || --count > 0))
        --begin;
    return line.substr(begin);
}

/// Takes the first field off a line; nothing when there is none left.
std::optional<std::string_view> NextField(std::optional<std::string_view> &line, char separator)
{
    if (!line)
        return std::nullopt;
    const size_t end = line->find(separator);
    const std::string_view field = line->substr(0, end);
    line = end == std::string_view::npos ? std::nullopt : std::optional(line->substr(end + 1));
    return field;
}
} // namespace

void LogReader::Take(std::string_view bytes)
{
    while (!bytes.empty() && !foreign_) {
        const size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (rest_.empty() && end != std::string_view::npos) {
            TakeLine(piece);
        } else {
            rest_ += piece.substr(0, longestLine + 1 - std::min(rest_.size(), longestLine + 1));
            if (end != std::string_view::npos)
                TakeLine(std::exchange(rest_, {}));
            else if (!log_ && rest_.size() > longestLine)
                foreign_ = true;
        }
        bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
    }
}

void LogReader::TakeLine(std::string_view line)
{
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    if (!log_) {
        TakeHeader(line);
        return;
    }
    const bool capacity = format_->kind == Log::Kind::Capacity;
    if (line.empty())
        return;
    if (capacity && line.front() == CapacityFile::runEnd)
        log_->ended = true;
    else if (capacity && line.front() == CapacityFile::dischargeEnd)
        BeginStep();
    else if (line.size() <= longestLine && TakeFields(line))
        TakeRecord();
    else
        ++unreadable_;
}

void LogReader::TakeHeader(std::string_view line)
{
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (line.starts_with(byteOrderMark)) // some editor's
        line.remove_prefix(byteOrderMark.size());
    format_ = LogFormat::OfHeader(QByteArray(line.data(), static_cast<qsizetype>(line.size())));
    foreign_ = !format_;
    if (format_)
        log_ = Log{format_->kind, format_->columns, {}, {0}, false};
}

bool LogReader::TakeFields(std::string_view line)
{
    constexpr size_t equalsPlace = 2; // of the sign between the monitor's fields
    const bool monitor = format_->kind == Log::Kind::Monitor;
    const char separator = format_->separator;
    const size_t columns = format_->columns.size();
    std::optional<std::string_view> left = monitor ? LastFields(line, separator, columns + 1) : line;
    fields_.clear();
    while (left && fields_.size() < columns) {
        if (monitor && fields_.size() == equalsPlace && NextField(left, separator) != "=")
            return false;
        const std::optional<std::string_view> field = NextField(left, separator);
        const std::optional<double> value = field ? NumberOf(*field) : std::nullopt;
        if (!value)
            return false;
        fields_.push_back(*value * format_->scales[fields_.size()]);
    }
    return !left && fields_.size() == columns;
}

void LogReader::TakeRecord()
{
    const double time = fields_[format_->timeColumn];
    if (!former_ && format_->kind == Log::Kind::Monitor) // which has the time of day
        shift_ = -time;
    if (former_ && time < *former_) { // midnight, or the board has begun anew
        const double back = *former_ - time > secondsOfDay / 2 ? secondsOfDay : *former_ - time;
        shift_ += back;
        if (format_->sum)
            missing_ += back * fields_[format_->sum->current] / 3.6;
    }
    former_ = time;
    if (format_->sum)
        fields_[format_->sum->capacity] += std::round(missing_); // which is whole in the log
    for (size_t i = 0; i < fields_.size(); ++i)
        log_->columns[i].values.push_back(fields_[i]);
    log_->seconds.push_back(time + shift_);
}

/// The log leaves out the pause, and its time begins anew.
void LogReader::BeginStep()
{
    if (log_->seconds.empty() || log_->steps.back() == log_->Records())
        return;
    shift_ = log_->seconds.back() + capacity::pauseSeconds;
    former_.reset();
    log_->steps.push_back(log_->Records());
}
