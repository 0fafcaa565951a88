// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "chart/chart.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QFile>
#include <QWidget>
#ifdef WITH_QT_CHARTS
#    include <QChart>
#    include <QChartView>
#    include <QLineSeries>
#    include <QValueAxis>
#endif

#include <algorithm>
#include <functional>
#include <vector>

/// What a chart costs: the time of one more point, drawn and painted, and the memory of each, ours and Qt Charts'.
namespace drawing {
struct Cost
{
    double milliseconds = 0;
    double bytesPerPoint = 0; ///< of all curves
};

inline double Seconds(const QElapsedTimer &watch)
{
    return static_cast<double>(watch.nsecsElapsed()) / 1e9;
}

/// Kilobytes of memory that the program has in use.
inline double ResidentKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.simplified().split(' ')[1].toDouble();
    return 0;
}

class PaintCount : public QObject
{
public:
    explicit PaintCount(QWidget *widget) { widget->installEventFilter(this); }
    int paints = 0;

private:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(object, event);
    }
};

/// The middle one of several.
inline double Middle(std::vector<double> times)
{
    std::ranges::sort(times);
    return times[times.size() / 2];
}

/// Milliseconds from adding a point to a chart in sight until it is painted.
inline double OneMore(Chart &chart, const std::function<void()> &add)
{
    int drawn = 0;
    QObject::connect(&chart, &QCustomPlot::afterReplot, &chart, [&drawn] { ++drawn; });
    const PaintCount paints(&chart);
    std::vector<double> times;
    while (times.size() < 15) {
        // The timer that keeps drawings apart is not part of the cost, nor is the painting of an earlier drawing.
        QElapsedTimer still;
        still.start();
        while (still.elapsed() < 2 * Chart::redrawPeriod.count())
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
        QCoreApplication::processEvents();
        const int before = drawn;
        QElapsedTimer watch;
        watch.start();
        add();
        while (drawn == before)
            QCoreApplication::processEvents();
        const int painted = paints.paints;
        while (paints.paints == painted)
            QCoreApplication::processEvents();
        times.push_back(1000 * Seconds(watch));
    }
    return Middle(times);
}

#ifdef WITH_QT_CHARTS
/// The same of Qt Charts, with so many series; `value` gives their values from point and series 1 on.
inline Cost QtCharts(int points, int count, const std::function<double(int point, int series)> &value, QSize size)
{
    const double before = ResidentKilobytes();
    auto *chart = new QChart;
    QChartView view(chart);
    view.resize(size);
    auto *x = new QValueAxis;
    chart->addAxis(x, Qt::AlignBottom);
    std::vector<QLineSeries *> series;
    for (int i = 1; i <= count; ++i) {
        series.push_back(new QLineSeries);
        auto *y = new QValueAxis;
        QList<QPointF> values;
        for (int point = 1; point <= points; ++point)
            values.append({double(point), value(point, i)});
        const auto [lowest, highest] = std::ranges::minmax(values, {}, [](const QPointF &point) { return point.y(); });
        series.back()->append(values);
        chart->addSeries(series.back());
        chart->addAxis(y, i == 1 ? Qt::AlignLeft : Qt::AlignRight);
        series.back()->attachAxis(x);
        series.back()->attachAxis(y);
        y->setRange(lowest.y(), highest.y());
    }
    x->setRange(1, points);
    view.show();
    QCoreApplication::processEvents();
    const double bytes = (ResidentKilobytes() - before) * 1024;
    const PaintCount paints(view.viewport());
    std::vector<double> times;
    int point = points;
    const size_t wanted = points > 100000 ? 3 : 7;
    while (times.size() < wanted) {
        for (int i = 0; i < 20; ++i)
            QCoreApplication::processEvents();
        const int painted = paints.paints;
        QElapsedTimer watch;
        watch.start();
        ++point;
        for (int i = 1; i <= count; ++i)
            series[static_cast<size_t>(i - 1)]->append(point, value(point, i));
        x->setRange(1, point);
        while (paints.paints == painted)
            QCoreApplication::processEvents();
        times.push_back(1000 * Seconds(watch));
    }
    return {Middle(times), bytes / points};
}
#endif
} // namespace drawing
