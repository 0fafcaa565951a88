// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitorchart.h"

#include "base/number.h"
#include "chart/wholeticker.h"
#include "seriesgraph.h"

namespace {
constexpr QColor colours[] = {QColor(31, 95, 191), QColor(192, 57, 43), QColor(34, 125, 80)};
} // namespace

MonitorChart::MonitorChart(QWidget *parent) : Chart(parent)
{
    SetTitle(tr("Courbe de Charge/Decharge"));
    wholeticker::Use(xAxis); // rows
    xAxis->setLabel(tr("Ligne (une par dix enregistrements)"));
    for (size_t i = 0; i < series_.size(); ++i) {
        series_[i] = new SeriesGraph(xAxis, ValueAxis(QString::number(i)));
        Add(series_[i], colours[i]);
    }
}

void MonitorChart::Clear()
{
    SetRowCount(0);
    HideCursor();
    ShowAll();
}

void MonitorChart::SetRowCount(qint64 rows)
{
    for (SeriesGraph *series : series_)
        series->SetRowCount(rows);
    Changed();
}

void MonitorChart::SetCell(qint64 row, int column, double value)
{
    series_[static_cast<size_t>(column - 1)]->SetValue(row, value);
    Changed();
}

qint64 MonitorChart::Rows() const
{
    return series_[0]->Rows();
}

double MonitorChart::Cell(qint64 row, int column) const
{
    return series_[static_cast<size_t>(column - 1)]->Value(row);
}

QColor MonitorChart::Colour(int column) const
{
    return colours[column - 1];
}

void MonitorChart::NameColumn(int column, const QString &name)
{
    SeriesGraph *series = series_[static_cast<size_t>(column - 1)];
    series->setName(name);
    series->valueAxis()->setLabel(name);
    Changed();
}

QString MonitorChart::KeyText(double key) const
{
    return tr("Ligne") + number::Str(key);
}
