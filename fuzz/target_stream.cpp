// SPDX-License-Identifier: GPL-3.0-or-later
// The monitor's stream: every whole record comes out once, with the values and the rows of the chart that a reading of
// all bytes by their positions gives, and its line in the log; nothing else does.

#include "base/errors.h"
#include "check.h"
#include "monitor/chartrules.h"
#include "monitor/monitorlog.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {
using Values = std::vector<int>; ///< of a record's columns, as far as it goes
using Rows = std::map<std::pair<qint64, int>, double>;

/// What a stream holds up to its end or to a word that overflows.
struct Contents
{
    std::vector<Values> records; ///< the last one may have begun only
    bool overflow = false;
    size_t end = 0; ///< behind the last byte that was read
};

class Chart final : public ChartTable
{
public:
    void SetRowCount(qint64 rows) override
    {
        Check(rows == rows_ + 1);
        rows_ = rows;
    }
    void SetCell(qint64 row, int column, double value) override
    {
        Check(row == rows_);
        cells_[{row, column}] = value;
    }
    const Rows &Cells() const { return cells_; }
    qint64 RowCount() const { return rows_; }

private:
    qint64 rows_ = 0;
    Rows cells_;
};

// ---- by positions

struct Place
{
    size_t at; ///< from the line feed
    size_t length;
};
constexpr Place places[] = {{1, 1},  {2, 2},  {4, 3},  {7, 1},  {8, 2},  {10, 2}, {12, 2}, {14, 2},
                            {16, 2}, {18, 2}, {20, 1}, {21, 1}, {22, 2}, {24, 2}, {26, 2}, {28, 2}};
constexpr size_t wholeLength = 30;
constexpr size_t vbat = 4, cour = 5, temper = 6, capacity = 9, type = 10, vmoy = 14;

Contents ByPosition(const uint8_t *data, size_t size)
{
    Contents contents;
    size_t begin = static_cast<size_t>(std::find(data, data + size, 10) - data);
    while (begin < size) {
        Values &values = contents.records.emplace_back();
        for (const Place &place : places) {
            const uint8_t *const field = data + begin + place.at;
            if (begin + place.at + place.length > size)
                break;
            if (place.length == 2 && field[0] >= 128) {
                contents.overflow = true;
                contents.end = begin + place.at + 2;
                return contents;
            }
            values.push_back(place.length == 1   ? field[0]
                             : place.length == 2 ? field[0] * 256 + field[1]
                                                 : field[0] * 3600 + field[1] * 60 + field[2]);
        }
        if (values.size() < std::size(places))
            break;
        begin = static_cast<size_t>(std::find(data + begin + wholeLength, data + size, 10) - data);
    }
    contents.end = size;
    return contents;
}

/// The chart of these records: a look at every tenth.
Rows RowsOf(const std::vector<Values> &records)
{
    Rows rows;
    size_t courFrom = 0; // the currents since the last mean
    for (size_t tenth = 9; tenth < records.size(); tenth += 10) {
        const Values &values = records[tenth];
        const auto row = static_cast<qint64>(tenth / 10 + 1);
        const bool charges = records[tenth - 1][type] == 2;
        const auto sum = [&](size_t column, size_t from) {
            qint64 all = 0;
            for (size_t i = from; i <= tenth; ++i)
                all += records[i][column];
            return static_cast<double>(all);
        };
        if (values.size() > vbat)
            rows[{row, 1}] = sum(vbat, tenth - 9) / 10;
        if (values.size() > cour && charges) {
            rows[{row, 2}] = sum(cour, courFrom) / 10;
            courFrom = tenth + 1;
        }
        if (values.size() > temper && !charges)
            rows[{row, 2}] = values[temper];
        if (values.size() > capacity && charges)
            rows[{row, 3}] = values[capacity];
        if (values.size() > vmoy && values[type] != 2)
            rows[{row, 3}] = values[vmoy];
    }
    return rows;
}

/// A row is there from the sample number of its record on.
qint64 RowCountOf(const std::vector<Values> &records)
{
    const bool lastHasNumber = !records.empty() && records.back().size() > 1;
    return static_cast<qint64>(records.size() - (lastHasNumber || records.empty() ? 0 : 1)) / 10;
}

std::string LineOf(const Values &values)
{
    std::string line;
    const auto prompt = static_cast<unsigned>(values[0]); // as UTF-8
    if (prompt < 128) {
        line += static_cast<char>(prompt);
    } else {
        line += static_cast<char>(0xC0 | prompt >> 6);
        line += static_cast<char>(0x80 | (prompt & 63));
    }
    for (size_t i = 1; i < values.size(); ++i)
        line += i == 3 ? std::string(",=") : ", " + std::to_string(values[i]) + ' ';
    return line;
}

// ---- as the monitor does

/// Reads from `data` on, until a word overflows, and holds every record against those expected.
class Reading
{
public:
    void CheckAgainst(const Contents &expected, const uint8_t *data)
    {
        size_t position = 0;
        try {
            while (position < expected.end)
                Take(data[position++]);
            Check(!expected.overflow);
        } catch (const Overflow &) {
            Check(expected.overflow && position == expected.end);
        }
        Check(records_ == expected.records);
        Check(whole_ == records_.size() - (decoder_ ? 1 : 0));
        if (whole_ > 0)
            Check(line_.toStdString() == LineOf(records_[0]));
        Check(rules_.RecordIndex == static_cast<qint64>(records_.size()));
        Check(chart_.Cells() == RowsOf(records_));
        Check(chart_.RowCount() == RowCountOf(records_));
    }

private:
    void Take(uint8_t byte)
    {
        if (!decoder_) {
            if (byte == stream::lineFeed) {
                decoder_.emplace();
                rules_.BeginRecord();
                records_.emplace_back();
            }
            return;
        }
        if (const std::optional<stream::Field> field = decoder_->Add(byte)) {
            Check(static_cast<size_t>(field->column) == records_.back().size());
            records_.back().push_back(field->value);
            if (records_.size() == 1) // making lines takes longer than all the rest
                MonitorLog::Append(line_, *field);
            rules_.Take(*field, chart_);
        }
        if (decoder_->Complete()) {
            decoder_.reset();
            rules_.EndRecord();
            ++whole_;
        }
    }

    std::optional<stream::RecordDecoder> decoder_;
    ChartRules rules_;
    Chart chart_;
    QString line_; ///< of the first record
    size_t whole_ = 0;
    std::vector<Values> records_;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // An overflow ends a run; what follows it is the stream of another one.
    for (;;) {
        const Contents expected = ByPosition(data, size);
        Reading().CheckAgainst(expected, data);
        if (!expected.overflow)
            return 0;
        data += expected.end;
        size -= expected.end;
    }
}
