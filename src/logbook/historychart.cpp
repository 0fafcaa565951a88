// SPDX-License-Identifier: GPL-3.0-or-later
#include "historychart.h"

#include "chart/wholeticker.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr QColor capacityColour(34, 125, 80);
constexpr QColor resistanceColour(192, 57, 43);
constexpr QColor shareColour(31, 95, 191);
constexpr QColor nominalColour(150, 150, 150);
constexpr double whole = 100; // per cent
constexpr double dotSize = 6;
constexpr double thinDotSize = 2; // of more cycles than there is room for dots
constexpr size_t manyCycles = 100;
} // namespace

HistoryChart::HistoryChart(QWidget *parent) : Chart(parent)
{
    wholeticker::Use(xAxis);
    xAxis->setLabel(QStringLiteral("Cycle"));
}

Curve *HistoryChart::MakeCurve(const QString &name, const QString &unit, const QColor &colour)
{
    QCPAxis *const axis = ValueAxis(unit);
    auto *curve = new Curve(xAxis, axis);
    curve->setName(name);
    curve->SetUnit(unit);
    Add(curve, colour);
    if (axis->label().isEmpty())
        axis->setLabel(QStringLiteral("%1 [%2]").arg(name, unit));
    curve->setScatterStyle(
        {QCPScatterStyle::ssDisc, cycles_.size() > manyCycles ? thinDotSize : dotSize}); // one cycle makes no line
    return curve;
}

void HistoryChart::Show(std::vector<PackCycle> cycles, int nominal)
{
    RemoveCurves();
    cycles_ = std::move(cycles);
    const auto draw = [this](const QString &name, const QString &unit, const QColor &colour, auto valueOf) {
        if (std::ranges::none_of(cycles_, [&](const PackCycle &cycle) { return !std::isnan(valueOf(cycle)); }))
            return;
        Curve *const curve = MakeCurve(name, unit, colour);
        for (size_t i = 0; i < cycles_.size(); ++i)
            if (const double value = valueOf(cycles_[i]); !std::isnan(value))
                curve->Append(static_cast<double>(i + 1), value);
    };
    const auto capacity = [](const PackCycle &cycle) { return cycle.capacity.value_or(std::nan("")); };
    draw(QStringLiteral("Capacité"), QStringLiteral("mAh"), capacityColour, capacity);
    draw(QStringLiteral("Résistance"), QStringLiteral("mΩ"), resistanceColour,
         [](const PackCycle &cycle) { return cycle.resistance.value_or(std::nan("")); });
    if (nominal > 0) {
        const QString unit = QStringLiteral("%");
        draw(QStringLiteral("Part de la nominale"), unit, shareColour,
             [&](const PackCycle &cycle) { return whole * capacity(cycle) / nominal; });
        // What it is a share of; it keeps this curve from lying on that of the capacity, too.
        Curve *const line = MakeCurve(QStringLiteral("Nominale"), unit, nominalColour);
        line->setScatterStyle(QCPScatterStyle::ssNone);
        for (const size_t cycle : {size_t(1), cycles_.size()})
            line->Append(static_cast<double>(cycle), whole);
    }
    ShowAll();
}

QString HistoryChart::KeyText(double key) const
{
    const auto cycle = static_cast<size_t>(std::lround(key));
    return cycle >= 1 && cycle <= cycles_.size()
               ? QStringLiteral("Cycle %1, %2")
                     .arg(cycle)
                     .arg(cycles_[cycle - 1].began.toString(QStringLiteral("dd/MM/yyyy HH:mm")))
               : QString();
}
