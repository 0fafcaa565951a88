// SPDX-License-Identifier: GPL-3.0-or-later
#include "overlay.h"

#include "chart/colours.h"

#include <algorithm>
#include <limits>

namespace {
/// Times and numbers of records are no quantities.
const QStringList &NotDrawn()
{
    static const QStringList labels{QStringLiteral("Durée"), QStringLiteral("Temps"), QStringLiteral("Echantillon")};
    return labels;
}

QColor Shade(const QColor &colour, size_t log)
{
    constexpr int lighter[] = {100, 155, 65, 190}; // per cent
    return colour.lighter(lighter[log % std::size(lighter)]);
}

/// What has no unit shares an axis only with its own peak.
QString AxisOf(const Log::Column &column)
{
    const QString peak = QStringLiteral(" max.");
    if (!column.unit.isEmpty())
        return column.unit;
    return column.label.endsWith(peak) ? column.label.chopped(peak.size()) : column.label;
}
} // namespace

QStringList Overlay::Quantities(const std::vector<const Log *> &logs)
{
    QStringList others;
    for (const Log *log : logs)
        for (const Log::Column &column : log->columns)
            if (!others.contains(column.label) && !NotDrawn().contains(column.label))
                others.append(column.label);
    QStringList labels;
    for (const QString &label : colours::Usual())
        if (others.removeOne(label))
            labels.append(label);
    return labels + others;
}

bool Overlay::IsUsual(const QString &quantity)
{
    return colours::Usual().contains(quantity);
}

void Overlay::Draw(const std::vector<const Log *> &logs, const QStringList &quantities, Align align)
{
    align_ = align;
    drawn_.clear();
    chart_.RemoveCurves();
    for (const QString &quantity : quantities)
        for (size_t i = 0; i < logs.size(); ++i) {
            const auto column = std::ranges::find(logs[i]->columns, quantity, &Log::Column::label);
            if (column != logs[i]->columns.end())
                Add(*logs[i], *column, logs.size() > 1 ? QStringLiteral(" (%1)").arg(i + 1) : QString(), i);
        }
    chart_.ShowAll();
}

void Overlay::Add(const Log &log, const Log::Column &column, const QString &mark, size_t shade)
{
    QCPAxis *const axis = chart_.ValueAxis(AxisOf(column));
    auto *curve = new Curve(chart_.xAxis, axis);
    curve->setName(column.label + mark);
    curve->SetUnit(column.unit);
    chart_.Add(curve, Shade(colours::Of(column.label), shade));
    if (!axis->label().contains(column.label)) {
        QString names = axis->label().section(QStringLiteral(" ["), 0, 0);
        names += (names.isEmpty() ? QString() : QStringLiteral(", ")) + column.label;
        axis->setLabel(column.unit.isEmpty() ? names : QStringLiteral("%1 [%2]").arg(names, column.unit));
    }
    drawn_.push_back({curve, &log, &column, 0});
    Fill(drawn_.back());
}

void Overlay::Grow()
{
    for (Drawn &drawn : drawn_)
        Fill(drawn);
    chart_.Changed();
}

double Overlay::Shift(const Log &log) const
{
    return align_ == Align::End && log.Records() > 0 ? -log.seconds.back() : 0;
}

void Overlay::Fill(Drawn &drawn) const
{
    const double shift = Shift(*drawn.log);
    if (shift != drawn.shift)
        drawn.curve->RemoveFrom(-std::numeric_limits<double>::infinity());
    drawn.shift = shift;
    for (auto i = static_cast<size_t>(drawn.curve->Points()); i < drawn.log->Records(); ++i)
        drawn.curve->Append(drawn.log->seconds[i] + shift, drawn.column->values[i]);
}
