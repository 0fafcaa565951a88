#include "base/errors.h"
#include "chart/chart.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <ctime>
#include <malloc.h>

namespace {
Curve *Add(Chart &chart, const char *axis, const char *name, const char *unit = "")
{
    auto *curve = new Curve(chart.xAxis, chart.ValueAxis(QString::fromUtf8(axis)));
    curve->setName(QString::fromUtf8(name));
    curve->SetUnit(QString::fromUtf8(unit));
    chart.Add(curve, Qt::blue);
    return curve;
}

void Show(Chart &chart)
{
    chart.resize(900, 500);
    chart.show();
    SOON(chart.windowHandle()->isExposed());
}

QString PointAt(Chart &chart, double key)
{
    const QPoint at(qRound(chart.xAxis->coordToPixel(key)), chart.axisRect()->center().y());
    QMouseEvent move(QEvent::MouseMove, at, chart.mapToGlobal(at), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&chart, &move);
    for (int i = 0; i < chart.itemCount(); ++i)
        if (const auto *text = qobject_cast<QCPItemText *>(chart.item(i)))
            return text->visible() ? text->text() : QString();
    return {};
}

/// A night of one-second records of five quantities.
constexpr int night = 10 * 3600;
void FillNight(Chart &chart)
{
    for (const char *name : {"V", "A", "°C", "mAh", "delta"}) {
        Curve *curve = Add(chart, name, name);
        for (int second = 0; second < night; ++second)
            curve->Append(second, std::sin(second / 500.0) + 0.01 * (second % 7));
    }
}
} // namespace

class TestChart : public QObject
{
    Q_OBJECT

private:
    SimulatedClock clock_;

private Q_SLOTS:
    void AxesAreSharedByName()
    {
        Chart chart;
        const Curve *first = Add(chart, "V", "V Batterie");
        const Curve *second = Add(chart, "A", "Courant");
        const Curve *third = Add(chart, "V", "V Unité");
        QCOMPARE(first->valueAxis(), third->valueAxis());
        QVERIFY(first->valueAxis() != second->valueAxis());
        QCOMPARE(first->valueAxis()->axisType(), QCPAxis::atLeft);
        QCOMPARE(second->valueAxis()->axisType(), QCPAxis::atRight);
        QCOMPARE(chart.Curves().size(), size_t(3));
        QCOMPARE(chart.legend->itemCount(), 3);
    }

    void CurvesAreRemovedWithTheirAxes()
    {
        Chart chart;
        for (const char *axis : {"a", "b", "c", "d"})
            Add(chart, axis, axis);
        QCOMPARE(chart.axisRect()->axes().size(), 6); // with that of the keys and the one above
        chart.RemoveCurves();
        QCOMPARE(chart.graphCount(), 0);
        QCOMPARE(chart.axisRect()->axes().size(), 4);
        QVERIFY(!chart.yAxis->visible() && !chart.yAxis2->visible());
        QCOMPARE(Add(chart, "d", "d")->valueAxis(), chart.yAxis);
        QVERIFY(chart.yAxis->visible());
    }

    void AnEmptyChartFillsItsPlace()
    {
        Chart chart;
        Show(chart);
        chart.replot();
        QVERIFY(chart.axisRect()->width() > 800);
    }

    void PointsAreFoundByTheirKeys()
    {
        Chart chart;
        Curve *curve = Add(chart, "V", "V");
        QVERIFY(!curve->Nearest(1));
        for (const double key : {1, 2, 2, 10})
            curve->Append(key, 10 * key);
        QCOMPARE(*curve->Nearest(-5), 0);
        QCOMPARE(*curve->Nearest(1.4), 0);
        QCOMPARE(*curve->Nearest(5), 2);
        QCOMPARE(*curve->Nearest(7), 3);
        QCOMPARE(*curve->Nearest(99), 3);
        QCOMPARE(curve->Extremes()->upper, 100.0);
        curve->RemoveFrom(2);
        QCOMPARE(curve->Points(), 1);
        QCOMPARE(curve->Extremes()->upper, 10.0);
    }

    void ValuesWithUnitsUnderTheCursor()
    {
        Chart chart;
        Show(chart);
        Curve *volts = Add(chart, "V", "V Batterie", "V");
        Curve *counts = Add(chart, "", "Delta");
        for (int second = 0; second <= 4000; ++second)
            volts->Append(second, 7.25);
        for (int second = 0; second <= 100; ++second)
            counts->Append(second, second);
        SOON(chart.xAxis->range().upper > 4000);
        const QStringList late = PointAt(chart, 3725).split(u'\n');
        QVERIFY2(late[0].startsWith(QStringLiteral("1:02:0")), qPrintable(late[0])); // to a pixel
        QCOMPARE(late.mid(1), QStringList(QStringLiteral("V Batterie : 7.25 V")));
        QVERIFY(PointAt(chart, 50).contains(QStringLiteral("Delta : ")));
        QVERIFY(!PointAt(chart, 50).contains(u'–'));
    }

    void TimeBeforeTheEndIsNegative()
    {
        Chart chart;
        Show(chart);
        Curve *curve = Add(chart, "V", "V", "V");
        curve->Append(-20, 1);
        curve->Append(0, 2);
        SOON(chart.xAxis->range().lower < -20);
        QCOMPARE(PointAt(chart, -20), QStringLiteral("-0:00:20\nV : 1 V"));
        QCOMPARE(PointAt(chart, 0), QStringLiteral("0:00:00\nV : 2 V"));
    }

    void ANightIsDrawnInLessThanTenMilliseconds()
    {
        Chart chart;
        chart.resize(1000, 600);
        FillNight(chart);
        chart.ShowAll();
        Show(chart);
        SOON(chart.xAxis->range().upper > night);
        QVector<double> times;
        for (int i = 0; i < 15; ++i) {
            const std::clock_t began = std::clock();
            chart.replot();
            times.append(1000.0 * static_cast<double>(std::clock() - began) / CLOCKS_PER_SEC);
        }
        std::ranges::sort(times);
#ifndef __SANITIZE_ADDRESS__ // whose checks take longer than the drawing
        QVERIFY2(times[7] < 10, qPrintable(QString::number(times[7])));
#endif
    }

    void ANightTakesLessThanTenMegabytes()
    {
#ifndef __SANITIZE_ADDRESS__ // which has memory of its own
        Chart chart;
        const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        FillNight(chart);
        const size_t taken = mallinfo2().uordblks + mallinfo2().hblkhd - before;
        QVERIFY2(taken < 10'000'000, qPrintable(QString::number(taken)));
#endif
    }

    void PicturesAreSavedWhole()
    {
        QTemporaryDir folder;
        Chart chart;
        Show(chart);
        FillNight(chart);
        const QString png = folder.filePath(QStringLiteral("a.png"));
        chart.Save(png, Chart::Picture::Png);
        QVERIFY(!QImage(png).isNull());
        const QString pdf = folder.filePath(QStringLiteral("a"));
        chart.Save(pdf, Chart::Picture::Pdf);
        QFile file(pdf);
        QVERIFY(file.open(QIODevice::ReadOnly) && file.readAll().startsWith("%PDF"));
        QVERIFY_EXCEPTION_THROWN(chart.Save(folder.filePath(QStringLiteral("no/where")), Chart::Picture::Png),
                                 FileError);
    }
};

REGISTER_TEST(TestChart)
#include "tst_chart.moc"
