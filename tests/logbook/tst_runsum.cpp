// SPDX-License-Identifier: GPL-3.0-or-later
#include "runs/runsum.h"
#include "support/suite.h"

namespace {
RunPoint Point(double milliampereHours, double volts, double amperes)
{
    RunPoint point;
    point.milliampereHours = milliampereHours;
    point.volts = volts;
    point.amperes = amperes;
    return point;
}
} // namespace

/// What a run amounts to.
class TestRunSum : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ACharge()
    {
        RunSum sum;
        RunPoint point = Point(1000, 8, 2);
        point.seconds = 1800;
        point.temperature = 31;
        sum.Add(point);
        point = Point(2000, 9, 2);
        point.seconds = 3600;
        point.temperature = 45;
        sum.Add(point);
        const RunFigures &figures = sum.Figures();
        QCOMPARE(figures.milliampereHoursIn, 2000.0);
        QCOMPARE(figures.wattHoursIn, 17.0);
        QCOMPARE(figures.milliampereHoursOut, 0.0);
        QCOMPARE(figures.seconds, 3600.0);
        QCOMPARE(figures.highestTemperature, 45.0);
        QCOMPARE(figures.lowestVolts, 8.0);
        QCOMPARE(figures.highestVolts, 9.0);
        QVERIFY(!figures.resistance);
        sum.EndPhase();
        QVERIFY(!sum.Figures().capacity); // nothing was taken out
    }

    void ADischarge()
    {
        RunSum sum;
        sum.Add(Point(500, 7, -1));
        sum.Add(Point(600, 6, -0.0)); // the current has gone, its direction has not
        QCOMPARE(sum.Figures().milliampereHoursOut, 600.0);
        QCOMPARE(sum.Figures().wattHoursOut, 4.1);
        QVERIFY(!sum.Figures().highestTemperature);
        QVERIFY(!sum.Figures().capacity); // before it has come to its end
        sum.EndPhase();
        QCOMPARE(sum.Figures().capacity, 600.0);
    }

    void APhaseBeginsItsCountAnew()
    {
        RunSum sum;
        sum.Add(Point(100, 8, 1));
        sum.EndPhase();
        sum.Add(Point(150, 7, -1)); // more than the phase before has counted
        RunPoint point = Point(900, 6, -1);
        point.resistance = 37;
        sum.Add(point);
        sum.EndPhase();
        sum.EndPhase(); // a pause
        sum.Add(Point(20, 7, 1));
        QCOMPARE(sum.Figures().milliampereHoursIn, 120.0);
        QCOMPARE(sum.Figures().milliampereHoursOut, 900.0);
        QCOMPARE(sum.Figures().capacity, 900.0);
        QCOMPARE(sum.Figures().resistance, 37.0);
    }

    void TwoPartsOfOneRun()
    {
        RunSum first, second;
        RunPoint point = Point(100, 8, 1);
        point.seconds = 60;
        point.temperature = 40;
        first.Add(point);
        point = Point(300, 6, -2);
        point.seconds = 90;
        second.Add(point);
        const RunFigures whole = RunSum::Joined(first.Figures(), second.Figures());
        QCOMPARE(whole.milliampereHoursIn, 100.0);
        QCOMPARE(whole.milliampereHoursOut, 300.0);
        QCOMPARE(whole.wattHoursOut, 1.8);
        QCOMPARE(whole.seconds, 150.0);
        QCOMPARE(whole.highestTemperature, 40.0);
        QCOMPARE(whole.lowestVolts, 6.0);
        QCOMPARE(whole.highestVolts, 8.0);
    }
};

REGISTER_TEST(TestRunSum)
#include "tst_runsum.moc"
