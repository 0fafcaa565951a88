// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "chart/chart.h"
#include "chartrules.h"

#include <array>

class SeriesGraph;

/// The chart of the monitor: three curves over the rows, each with an axis in its colour.
class MonitorChart : public Chart, public ChartTable
{
    Q_OBJECT

public:
    explicit MonitorChart(QWidget *parent = nullptr);

    /// No rows, everything in view.
    void Clear();

    void SetRowCount(qint64 rows) override;
    void SetCell(qint64 row, int column, double value) override;

    qint64 Rows() const;
    /// Not a number where a cell is empty.
    double Cell(qint64 row, int column) const;
    /// The colour of a column's curve and axis.
    QColor Colour(int column) const;

    /// The name of a column, in the legend and along its axis.
    void NameColumn(int column, const QString &name);

private:
    QString KeyText(double key) const override;

    std::array<SeriesGraph *, 3> series_{};
};
