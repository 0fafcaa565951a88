// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "chart/chart.h"
#include "runentry.h"

/// How a pack ages: capacity and resistance against its cycles, and the share of the nominal capacity.
class HistoryChart : public Chart
{
    Q_OBJECT

public:
    explicit HistoryChart(QWidget *parent = nullptr);

    /// `nominal` is in milliampere-hours, 0 for a capacity that nobody has said.
    void Show(std::vector<PackCycle> cycles, int nominal);

private:
    QString KeyText(double key) const override;
    Curve *MakeCurve(const QString &name, const QString &unit, const QColor &colour);

    std::vector<PackCycle> cycles_;
};
