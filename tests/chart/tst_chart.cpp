// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "base/tone.h"
#include "chart/chart.h"
#include "simulation/simulatedclock.h"
#include "support/palettes.h"
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

/// Makes public what a curve is drawn from.
class OpenCurve : public Curve
{
public:
    using Curve::Curve;
    QVector<QCPGraphData> Line() const
    {
        QVector<QCPGraphData> points;
        getOptimizedLineData(&points, mDataContainer->constBegin(), mDataContainer->constEnd());
        return points;
    }
};

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

    void NothingIsDrawnAcrossABreak()
    {
        Chart chart;
        Show(chart);
        auto *curve = new OpenCurve(chart.xAxis, chart.ValueAxis(QStringLiteral("V")));
        for (int second = 0; second < night; ++second) {
            if (second == night / 2)
                curve->Break(second);
            curve->Append(second, second < night / 2 ? 1 : 9);
        }
        const QVector<QCPGraphData> line = curve->Line();
        QVERIFY(line.size() < 10 * chart.axisRect()->width());
        double before = line[0].value;
        int breaks = 0;
        for (const QCPGraphData &point : line) {
            breaks += std::isnan(point.value) ? 1 : 0;
            QVERIFY(std::isnan(before) || std::isnan(point.value) || before == point.value);
            before = point.value;
        }
        QCOMPARE(breaks, 1);
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

    void FlatCurvesHaveAnAxisOfSomeLength_data()
    {
        QTest::addColumn<QString>("unit");
        QTest::addColumn<double>("lowest");
        QTest::addColumn<double>("highest");
        QTest::addColumn<double>("from"); // what has to be in view at least
        QTest::addColumn<double>("to");
        QTest::addColumn<double>("span"); // and at most
        QTest::newRow("volts") << "V" << 7.24 << 7.25 << 7.195 << 7.295 << 0.15;
        QTest::newRow("equal volts") << "V" << 7.25 << 7.25 << 7.2 << 7.3 << 0.15;
        QTest::newRow("many volts") << "V" << 7.0 << 9.0 << 7.0 << 9.0 << 2.5;
        QTest::newRow("amperes") << "A" << 1.5 << 1.51 << 1.255 << 1.755 << 0.6;
        QTest::newRow("a discharge") << "A" << -1.5 << -1.5 << -1.75 << -1.25 << 0.6;
        QTest::newRow("no ampere") << "A" << 0.0 << 0.0 << 0.0 << 0.5 << 0.6;
        QTest::newRow("degrees") << "°C" << 25.0 << 25.0 << 24.0 << 26.0 << 2.5;
        QTest::newRow("mAh") << "mAh" << 0.0 << 1.0 << 0.0 << 10.0 << 12.0;
        QTest::newRow("counts") << "" << 700.0 << 702.0 << 696.0 << 706.0 << 12.0;
        QTest::newRow("others") << "mΩ" << 40.0 << 40.0 << 39.0 << 41.0 << 5.0;
    }
    void FlatCurvesHaveAnAxisOfSomeLength()
    {
        QFETCH(QString, unit);
        QFETCH(double, lowest);
        QFETCH(double, highest);
        QFETCH(double, from);
        QFETCH(double, to);
        QFETCH(double, span);
        Chart chart;
        Show(chart);
        Curve *curve = Add(chart, "axis", "curve", unit.toUtf8());
        curve->Append(0, lowest);
        curve->Append(1, highest);
        Simulated().Run(100ms);
        constexpr double little = 1e-9;
        QVERIFY(chart.yAxis->range().lower <= from + little);
        QVERIFY(chart.yAxis->range().upper >= to - little);
        QVERIFY(chart.yAxis->range().size() <= span);
    }

    void LevelsAreInView()
    {
        Chart chart;
        Show(chart);
        Curve *curve = Add(chart, "V", "V", "V");
        curve->Append(0, 7);
        Level *level = chart.AddLevel(curve->valueAxis(), QStringLiteral("Fin"), Qt::red);
        chart.Changed();
        SOON(curve->valueAxis()->range().contains(7));
        level->Set(4);
        chart.Changed();
        SOON(curve->valueAxis()->range().contains(4));
        QVERIFY(curve->valueAxis()->range().contains(7));
        chart.SetMost(curve->valueAxis(), 1);
        chart.Changed();
        SOON(!curve->valueAxis()->range().contains(7));
        QVERIFY(curve->valueAxis()->range().contains(4));
        QVERIFY(curve->valueAxis()->range().size() <= 1.001);
        chart.RemoveCurves();
        QVERIFY(chart.Levels().empty());
    }

    void BandsArePaintedBehindTheCurvesAndNamed()
    {
        Chart chart;
        Show(chart);
        Curve *volts = Add(chart, "V", "V", "V");
        chart.BeginBand(0, QStringLiteral("Charge"), QColor(255, 0, 0));
        for (int second = 0; second <= 100; ++second)
            volts->Append(second, 7);
        chart.BeginBand(50, QStringLiteral("Pause"), QColor(0, 0, 255));
        SOON(chart.xAxis->range().upper > 100);
        Simulated().Run(100ms);
        QCOMPARE(PointAt(chart, 20).section(u'\n', 0, 0), QStringLiteral("0:00:20 · Charge"));
        QCOMPARE(PointAt(chart, 80).section(u'\n', 0, 0), QStringLiteral("0:01:20 · Pause"));
        chart.HideCursor();
        const QImage picture = chart.grab().toImage();
        const auto colour = [&](double key) {
            return picture.pixelColor(qRound(chart.xAxis->coordToPixel(key)), chart.axisRect()->bottom() - 5);
        };
        QCOMPARE(colour(22), QColor(255, 0, 0));
        QCOMPARE(colour(77), QColor(0, 0, 255));
    }

    void ColoursFollowThePaletteAndPicturesStayOnPaper()
    {
        Chart chart;
        Show(chart);
        Curve *curve = Add(chart, "V", "V", "V");
        chart.BeginBand(0, QStringLiteral("Charge"), QColor(226, 240, 226));
        for (int second = 0; second <= 100; ++second)
            curve->Append(second, 7);
        const QTemporaryDir folder;
        const auto saved = [&](const char *name) {
            const QString path = folder.filePath(QLatin1String(name));
            chart.Save(path, Chart::Picture::Png);
            return QImage(path);
        };
        chart.setPalette(palettes::Light());
        SOON(chart.xAxis->range().upper > 100);
        Simulated().Run(100ms);
        const QImage onLight = saved("light.png");
        chart.setPalette(palettes::Dark());
        Simulated().Run(100ms);
        const QColor ground = palettes::Dark().color(QPalette::Base);
        QCOMPARE(chart.grab().toImage().pixelColor(1, 1), ground);
        QVERIFY(Contrast(curve->pen().color(), ground) >= lineContrast);
        for (const QCPAxis *axis : {chart.xAxis, curve->valueAxis()}) {
            QVERIFY(Contrast(axis->labelColor(), ground) >= textContrast);
            QVERIFY(Contrast(axis->tickLabelColor(), ground) >= textContrast);
        }
        QVERIFY(Contrast(chart.legend->textColor(), ground) >= textContrast);
        QCOMPARE(saved("dark.png"), onLight);
        QCOMPARE(onLight.pixelColor(1, 1), QColor(Qt::white));
        QVERIFY(Contrast(curve->pen().color(), ground) >= lineContrast); // on the screen again
    }

    void WhatNobodySeesIsNotDrawn()
    {
        Chart chart;
        Show(chart);
        Curve *volts = Add(chart, "V", "V", "V");
        volts->Append(0, 7);
        Simulated().Run(100ms);
        chart.hide();
        int drawn = 0;
        connect(&chart, &QCustomPlot::afterReplot, &chart, [&drawn] { ++drawn; });
        for (int second = 1; second <= 100; ++second) {
            volts->Append(second, 7);
            chart.Changed();
            Simulated().Run(1s);
        }
        QCOMPARE(drawn, 0);
        chart.show();
        SOON(chart.xAxis->range().upper > 100);
        QVERIFY(drawn > 0);
    }

    void ValuesStayInAChartThatIsNarrow()
    {
        Chart chart;
        chart.resize(180, 300);
        chart.show();
        Curve *volts = Add(chart, "V", "V Batterie", "V");
        for (int second = 0; second <= 100; ++second)
            volts->Append(second, -7.25);
        SOON(chart.xAxis->range().upper > 100);
        for (const double key : {1, 50, 99}) {
            QCOMPARE(PointAt(chart, key).section(u'\n', 1), QStringLiteral("V Batterie : -7.25 V"));
            for (int i = 0; i < chart.itemCount(); ++i)
                if (const auto *text = qobject_cast<QCPItemText *>(chart.item(i))) {
                    QVERIFY(text->topLeft->pixelPosition().x() >= 0);
                    QVERIFY(text->bottomRight->pixelPosition().x() <= chart.width());
                }
        }
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
