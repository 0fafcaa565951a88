#pragma once

#include "base/clock.h"
#include "chartrules.h"
#include "customplot.h"

#include <array>
#include <optional>

class SeriesGraph;

/// The chart of the monitor: three curves over the rows, each with an axis in its colour. The wheel zooms, dragging
/// moves the view, a double click shows everything again; the values under the cursor are told.
class MonitorChart : public QCustomPlot, public ChartTable
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

    /// The whole chart is in view and stays so as it grows.
    void ShowAll();

    /// Milliseconds from one drawing to the next, at least.
    static constexpr auto redrawPeriod = 40ms;

private:
    void MakeFrame();
    void MakeCursor();
    void ScheduleRedraw();
    void Redraw();
    void FitAxes();
    void ShowCursor(QPointF at);
    void HideCursor();
    void leaveEvent(QEvent *event) override;

    std::array<SeriesGraph *, 3> series_{};
    QCPItemStraightLine *cursorLine_;
    QCPItemText *cursorText_;
    QPointF cursorAt_;
    Alarm redraw_{[this] { Redraw(); }};
    std::optional<Stopwatch> lastRedraw_; ///< since it
    bool followed_ = true;                ///< the user has not chosen a view
    bool fitting_ = false;
};
