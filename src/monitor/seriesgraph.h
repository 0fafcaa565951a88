// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "chart/curve.h"

/// A curve over rows: a value, or none, for each; the first row is 1.
class SeriesGraph : public Curve
{
public:
    using Curve::Curve;

    qsizetype Rows() const { return Points(); }
    void SetRowCount(qsizetype rows)
    {
        if (rows < Rows())
            RemoveFrom(static_cast<double>(rows + 1));
        while (Rows() < rows)
            Append(static_cast<double>(Rows() + 1), qQNaN());
    }
    void SetValue(qsizetype row, double value)
    {
        if (row >= 1 && row <= Rows())
            ChangeValue(row - 1, value);
    }
    /// Not a number where there is no value.
    double Value(qsizetype row) const { return row < 1 || row > Rows() ? qQNaN() : ValueOf(row - 1); }
};
