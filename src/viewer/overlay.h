// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "chart/chart.h"
#include "logs/log.h"

#include <QStringList>

#include <vector>

/// Draws logs into a chart, one over the other: the curves of a quantity have one colour, in a shade for each log, and
/// share their axis with all that is measured in the same unit.
class Overlay
{
public:
    explicit Overlay(Chart &chart) : chart_(chart) {}

    enum class Align
    {
        Start,
        End ///< times are those before the last record
    };
    /// Draws these quantities, named by their labels, of all logs, which have to live as long as they are drawn.
    void Draw(const std::vector<const Log *> &logs, const QStringList &quantities, Align align);
    /// The logs have more records now.
    void Grow();
    /// The time of a record in the chart, less that in its log.
    double Shift(const Log &log) const;

    /// What there is to draw in these logs.
    static QStringList Quantities(const std::vector<const Log *> &logs);
    /// Whether a quantity is worth drawing before anybody has chosen.
    static bool IsUsual(const QString &quantity);

private:
    struct Drawn
    {
        Curve *curve;
        const Log *log;
        const Log::Column *column;
        double shift;
    };
    void Add(const Log &log, const Log::Column &column, const QString &mark, size_t shade);
    void Fill(Drawn &drawn) const;

    Chart &chart_;
    Align align_ = Align::Start;
    std::vector<Drawn> drawn_;
};
