// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "streamrecord.h"

/// What the chart shows: rows from 1 on, three columns from 1 on.
class ChartTable
{
public:
    virtual ~ChartTable() = default;
    /// New rows are empty; rows beyond the count are gone.
    virtual void SetRowCount(qint64 rows) = 0;
    virtual void SetCell(qint64 row, int column, double value) = 0;
};

/// How records become rows of the chart: every tenth record adds one. Column 1 is the mean battery voltage of ten
/// records. With Type 2 (a charge with current regulation) columns 2 and 3 are the mean current and the capacity, with
/// any other the temperature and the mean variation. Type comes late in a record: the columns before it go by the Type
/// of the record before.
struct ChartRules
{
    static constexpr int chargeType = 2;

    qint64 RecordIndex = 0; ///< records since the start
    int TenCount = 0;       ///< records since the last row, 1 to 10 within a record
    qint64 VbatSum = 0;     ///< over the current ten records
    qint64 CourSum = 0;     ///< cleared only when it was used
    int LastType = 0;
    bool LabelsSwitched = false; ///< a record of Type 2 has been seen

    /// A new start: the counters and sums begin anew.
    void Restart();
    void BeginRecord();
    /// The columns of a record, one after the other.
    void Take(const stream::Field &field, ChartTable &chart);
    void EndRecord();

    qint64 ChartRow() const { return RecordIndex / 10; }
};
