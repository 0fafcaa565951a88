// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacitybench.h"
#include "runs/limitboxes.h"
#include "support/suite.h"

namespace {
struct Bench : CapacityBench
{
    Bench() { drive::Prepare(); }
    QString Note() { return Text("LbNote"); }
    QString Saturation() { return Text("saturation"); }

    LimitBoxes limits{window};
};
} // namespace

/// The user's limits, and a delta amplifier that shows no end, in a capacity measurement.
class TestMesCapaLimits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AHotBoardEndsTheMeasurementOnceItsTickIsRecorded()
    {
        Bench bench;
        bench.limits.Limit(temperatureMax, 40);
        bench.StartAndCharge();
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.SetTemperature(41);
        LATER_EQUAL(bench.Note(), QStringLiteral("Arrêté : température 41 °C (limite 40 °C)"));
        QVERIFY(!measured.isEmpty());
        QCOMPARE(measured.last().first().value<CapacityRecord>().Temperature, 41.0);
        QVERIFY(!bench.window.Running());
        // The tick to its end, the stop, nothing else.
        Simulated().Run(10s);
        QVERIFY(bench.board.Received().endsWith(batteryBytes + stopBytes));
        QVERIFY(!bench.link.outputs.Unconfirmed());
    }

    void ALimitGoesBeforeTheHold()
    {
        Bench bench;
        bench.limits.Limit(temperatureMax, 88);
        bench.StartAndCharge();
        bench.SetTemperature(95);
        LATER_EQUAL(bench.Note(), QStringLiteral("Arrêté : température 95 °C (limite 88 °C)"));
        QVERIFY(!bench.states.contains(QStringLiteral("!! Surchauffe !!")));
    }

    void ThePreparationIsWatchedToo()
    {
        Bench bench;
        bench.limits.Limit(temperatureMax, 40);
        bench.SetTemperature(45);
        bench.Start();
        LATER_EQUAL(bench.Note(), QStringLiteral("Arrêté : température 45 °C (limite 40 °C)"));
        QVERIFY(bench.OutputsOff());
        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("Preparation Ch/Decharge"));
    }

    void TimeHoldsForEachPhase()
    {
        Bench bench;
        bench.limits.Limit(dureeMax, 3); // with its preparation and the pause the discharge begins later than that
        bench.StartAndDischarge();
        bench.deltas.clear();
        Simulated().Run(175s);
        QVERIFY(bench.window.Running());
        LATER_EQUAL(bench.Note(), QStringLiteral("Arrêté : durée 3 min (limite 3 min)"));
        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("Decharge"));
        QVERIFY(bench.OutputsOff());
        QVERIFY(bench.Result().count("\r\n") > 50); // its records are there
    }

    void MilliampereHoursHoldForEachPhase()
    {
        Bench bench;
        bench.limits.Limit(capaciteMax, 200); // more than the charge takes, at 1 A seven hundred seconds of discharge
        bench.StartAndDischarge();
        LATER_EQUAL(bench.Note(), QStringLiteral("Arrêté : 200 mAh (limite 200 mAh)"));
        QCOMPARE(bench.Text("LbIDTot"), QStringLiteral("D  200mAh"));
    }

    void ASaturatedDeltaIsSaidInACharge()
    {
        Bench bench;
        bench.usualDelta = 1023;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.StartAndCharge();
        LATER_EQUAL(measured.size(), 9);
        QCOMPARE(bench.Saturation(), QString());
        LATER_EQUAL(measured.size(), 10);
        QCOMPARE(bench.Saturation(), QStringLiteral("V Delta saturé : la fin ne peut pas être détectée"));
        bench.usualDelta = 900;
        LATER_EQUAL(measured.size(), 11);
        QCOMPARE(bench.Saturation(), QString());
        bench.usualDelta = 0; // the end of the charge, and no charge any more
        LATER(bench.Text("LbEtat").endsWith(QLatin1String("Pause ... ")));
        QCOMPARE(bench.Saturation(), QString());
    }

    void BothCurrentsHaveToBeCalibrated()
    {
        Bench bench;
        bench.limits.Limit(capaciteMax, 200);
        QCOMPARE(bench.limits.Blindness(), QString());
        bench.link.SlaveEeprom[2] = bench.link.SlaveEeprom[3] = 0;
        Q_EMIT bench.link.handshake.Connected();
        QCOMPARE(bench.limits.Blindness(), QStringLiteral("courant non étalonné : limite sans effet"));
    }
};

REGISTER_TEST(TestMesCapaLimits)
#include "tst_mescapa_limits.moc"
