// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/monitorchart.h"
#include "monitor/seriesgraph.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

namespace {
/// Makes public what a curve is drawn from.
class OpenSeries : public SeriesGraph
{
public:
    using SeriesGraph::SeriesGraph;
    QVector<QCPGraphData> Points(int first, int last) const
    {
        QVector<QCPGraphData> points;
        getOptimizedLineData(&points, mDataContainer->constBegin() + first, mDataContainer->constBegin() + last);
        return points;
    }
};

void Fill(MonitorChart &chart, int rows)
{
    for (int row = 1; row <= rows; ++row) {
        chart.SetRowCount(row);
        for (int column = 1; column <= 3; ++column)
            chart.SetCell(row, column, 100 * column + row);
    }
}

void Show(MonitorChart &chart)
{
    chart.resize(900, 500);
    chart.show();
    SOON(chart.windowHandle()->isExposed());
}

void Wheel(QWidget &widget, const QPoint &at)
{
    QWheelEvent event(at, widget.mapToGlobal(at), {}, {0, 120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&widget, &event);
}
} // namespace

class TestMonitorChart : public QObject
{
    Q_OBJECT

private:
    SimulatedClock clock_;

private Q_SLOTS:
    void RowsAndCells()
    {
        MonitorChart chart;
        QCOMPARE(chart.Rows(), 0);
        chart.SetRowCount(2);
        QCOMPARE(chart.Rows(), 2);
        QVERIFY(std::isnan(chart.Cell(2, 3)));
        chart.SetCell(2, 3, 12.5);
        QCOMPARE(chart.Cell(2, 3), 12.5);
        QVERIFY(std::isnan(chart.Cell(1, 3)));
        QVERIFY(std::isnan(chart.Cell(3, 1)));
        chart.SetCell(3, 1, 1); // beyond the rows: nothing
        QCOMPARE(chart.Rows(), 2);
        chart.SetRowCount(1);
        chart.SetRowCount(2);
        QVERIFY(std::isnan(chart.Cell(2, 3)));
        chart.Clear();
        QCOMPARE(chart.Rows(), 0);
    }

    void CellsAreTheCurvesData()
    {
        MonitorChart chart;
        Fill(chart, 3);
        QCOMPARE(chart.graphCount(), 3);
        for (int column = 1; column <= 3; ++column) {
            const auto data = chart.graph(column - 1)->data();
            QCOMPARE(data->size(), 3);
            for (int row = 1; row <= 3; ++row) {
                QCOMPARE(data->at(row - 1)->key, double(row));
                QCOMPARE(data->at(row - 1)->value, 100.0 * column + row);
            }
        }
    }

    void TitleNamesLegendAndAxes()
    {
        MonitorChart chart;
        const auto *title = qobject_cast<QCPTextElement *>(chart.plotLayout()->element(0, 0));
        QVERIFY(title);
        QCOMPARE(title->text(), QStringLiteral("Courbe de Charge/Decharge"));
        chart.NameColumn(2, QStringLiteral("Courant"));
        QCOMPARE(chart.graph(1)->name(), QStringLiteral("Courant"));
        QCOMPARE(chart.graph(1)->valueAxis()->label(), QStringLiteral("Courant"));
        QVERIFY(chart.legend->visible());
        QCOMPARE(chart.legend->itemCount(), 3);
        for (int i = 0; i < 3; ++i) {
            QVERIFY(chart.graph(i)->valueAxis()->visible());
            QVERIFY(chart.graph(i)->valueAxis()->ticks());
        }
    }

    void EverythingIsInViewUntilTheUserChoosesOne()
    {
        MonitorChart chart;
        Show(chart);
        Fill(chart, 50);
        SOON(chart.xAxis->range().upper > 50);
        QVERIFY(chart.xAxis->range().lower < 1);
        QVERIFY(chart.graph(2)->valueAxis()->range().contains(301));
        QVERIFY(chart.graph(2)->valueAxis()->range().contains(350));
        const QPoint middle = chart.axisRect()->rect().center();
        Wheel(chart, middle);
        const QCPRange chosen = chart.xAxis->range();
        QVERIFY(chosen.size() < 50);
        QSignalSpy drawn(&chart, &QCustomPlot::afterReplot);
        Fill(chart, 500);
        SOON(!drawn.isEmpty());
        QCOMPARE(chart.xAxis->range(), chosen);
        QTest::mouseDClick(&chart, Qt::LeftButton, {}, middle);
        SOON(chart.xAxis->range().upper > 500);
    }

    void DraggingMovesTheView()
    {
        MonitorChart chart;
        Show(chart);
        Fill(chart, 50);
        SOON(chart.xAxis->range().upper > 50);
        const QCPRange before = chart.xAxis->range();
        const QPoint middle = chart.axisRect()->rect().center();
        QTest::mousePress(&chart, Qt::LeftButton, {}, middle);
        QMouseEvent move(QEvent::MouseMove, middle + QPoint(100, 0), chart.mapToGlobal(middle + QPoint(100, 0)),
                         Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&chart, &move);
        QTest::mouseRelease(&chart, Qt::LeftButton, {}, middle + QPoint(100, 0));
        QVERIFY(chart.xAxis->range().lower < before.lower);
        QVERIFY(qAbs(chart.xAxis->range().size() - before.size()) < 1e-9);
    }

    void ValuesUnderTheCursor()
    {
        MonitorChart chart;
        Show(chart);
        Fill(chart, 20);
        chart.NameColumn(1, QStringLiteral("V Batterie"));
        chart.SetRowCount(21); // with empty cells
        SOON(chart.xAxis->range().upper > 21);
        const auto *text = [&] {
            for (int i = 0; i < chart.itemCount(); ++i)
                if (const auto *item = qobject_cast<QCPItemText *>(chart.item(i)))
                    return item;
            return static_cast<const QCPItemText *>(nullptr);
        }();
        QVERIFY(text && !text->visible());
        const auto pointAt = [&chart](double row) {
            const QPoint at(qRound(chart.xAxis->coordToPixel(row)), chart.axisRect()->center().y());
            QMouseEvent move(QEvent::MouseMove, at, chart.mapToGlobal(at), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
            QCoreApplication::sendEvent(&chart, &move);
        };
        pointAt(7);
        QVERIFY(text->visible());
        QVERIFY(text->text().startsWith(QStringLiteral("Ligne 7\nV Batterie : 107\n")));
        QVERIFY(text->text().endsWith(QStringLiteral(" : 307")));
        pointAt(21);
        QVERIFY(text->text().contains(QStringLiteral("V Batterie : –")));
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(&chart, &leave);
        QVERIFY(!text->visible());
    }

    void DrawsAtMostTwentyFiveTimesASecond()
    {
        MonitorChart chart;
        Show(chart);
        int drawn = 0;
        connect(&chart, &QCustomPlot::afterReplot, &chart, [&drawn] { ++drawn; });
        constexpr int milliseconds = 600;
        for (int row = 1; row <= milliseconds; ++row) {
            chart.SetRowCount(row);
            chart.SetCell(row, 1, row);
            clock_.Run(1ms);
        }
        QCOMPARE(drawn, milliseconds / 40 + 1); // the first one at once
    }

    void NothingIsDrawnWhileNothingChanges()
    {
        MonitorChart chart;
        Show(chart);
        Fill(chart, 5);
        SOON(chart.xAxis->range().upper > 9);
        clock_.Run(2 * MonitorChart::redrawPeriod);
        QSignalSpy drawn(&chart, &QCustomPlot::afterReplot);
        clock_.Run(1h);
        QVERIFY(drawn.isEmpty());
    }

    void ManyRowsAreDrawnFromTheirExtremes()
    {
        QCustomPlot plot;
        plot.resize(800, 400);
        plot.replot();
        auto *series = new OpenSeries(plot.xAxis, plot.yAxis);
        constexpr int rows = 300000;
        series->SetRowCount(rows);
        for (int row = 1; row <= rows; ++row)
            if (row % 1000 != 0) // gaps
                series->SetValue(row, row == 123456 ? 1e6 : row == 200001 ? -1e6 : std::sin(row / 5000.0));
        const auto points = series->Points(0, rows);
        QVERIFY(points.size() < 8 * plot.axisRect()->width());
        double lowest = 0, highest = 0, lastKey = 0;
        for (const auto &point : points) {
            QVERIFY(point.key >= lastKey);
            lastKey = point.key;
            lowest = std::fmin(lowest, point.value);
            highest = std::fmax(highest, point.value);
        }
        QCOMPARE(highest, 1e6);
        QCOMPARE(lowest, -1e6);
        const auto extremes = series->Extremes();
        QVERIFY(extremes);
        QCOMPARE(extremes->lower, -1e6);
        QCOMPARE(extremes->upper, 1e6);
        series->SetValue(123456, 0); // an extreme that is gone is forgotten
        QVERIFY(series->Extremes()->upper <= 1);
        QVERIFY(series->Points(1000, 2000).size() <= 1100); // a few rows are drawn as they are
    }

    void EmptySeriesHasNoExtremes()
    {
        QCustomPlot plot;
        auto *series = new SeriesGraph(plot.xAxis, plot.yAxis);
        QVERIFY(!series->Extremes());
        series->SetRowCount(100);
        QVERIFY(!series->Extremes());
        series->SetRowCount(0);
        QCOMPARE(series->Rows(), 0);
    }

    void PicturesAreSaved()
    {
        QTemporaryDir folder;
        MonitorChart chart;
        Show(chart);
        Fill(chart, 30);
        QVERIFY(chart.savePng(folder.filePath(QStringLiteral("a.png"))));
        QVERIFY(!QImage(folder.filePath(QStringLiteral("a.png"))).isNull());
        QVERIFY(chart.savePdf(folder.filePath(QStringLiteral("a.pdf"))));
        QFile pdf(folder.filePath(QStringLiteral("a.pdf")));
        QVERIFY(pdf.open(QIODevice::ReadOnly));
        QVERIFY(pdf.readAll().startsWith("%PDF"));
    }
};

REGISTER_TEST(TestMonitorChart)
#include "tst_monitorchart.moc"
