// SPDX-License-Identifier: GPL-3.0-or-later
#include "limitboxes.h"
#include "runbench.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/limits.h"
#include "runs/runnote.h"
#include "runs/unattendedrun.h"
#include "support/suite.h"

#include <QLineEdit>
#include <QSignalSpy>

namespace {
const QByteArray chargeStart = Bytes({27, 41, 27, 18, 0, 27, 16, 0, 27, 17, 1, 27, 15, 1, 27, 20, 35});
const QByteArray chargeStop = Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1});
const QByteArray chargeStepEnd = Bytes({27, 18, 0, 27, 17, 1, 27, 15, 1});
const QByteArray dischargeStart = Bytes({27, 41, 27, 15, 0, 27, 17, 0, 27, 16, 1, 27, 18, 1});
const QByteArray dischargeStop = Bytes({27, 16, 0, 27, 17, 0, 27, 18, 1});

struct Charge : RunBench<Chargeur>
{
    void Start() { RunBench::Start(chargeStart); }
    void SetTemperature(int degrees) { board.channel[5] = 600 - degrees; }
    QString State() { return Text("Label18"); }
    QByteArray Note()
    {
        QFile note(runnote::PathOf(window.LogPath()));
        return note.open(QIODevice::ReadOnly) ? note.readAll() : QByteArray();
    }

    LimitBoxes limits{window};
};

struct Discharge : RunBench<Dechargeur>
{
    void Start()
    {
        SetText("6");
        RunBench::Start(dischargeStart);
    }
    LimitBoxes limits{window};
};
} // namespace

class TestLimits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- the rule

    void ALimitIsReachedFromItsValueOn_data()
    {
        QTest::addColumn<double>("temperature");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<double>("milliampereHours");
        QTest::addColumn<QString>("cause");
        QTest::newRow("none") << 59.0 << 5399.9 << 1999.9 << QString();
        QTest::newRow("temperature") << 60.0 << 0.0 << 0.0 << QStringLiteral("température 60 °C (limite 60 °C)");
        QTest::newRow("above") << 61.0 << 0.0 << 0.0 << QStringLiteral("température 61 °C (limite 60 °C)");
        QTest::newRow("time") << 0.0 << 5400.0 << 0.0 << QStringLiteral("durée 90 min (limite 90 min)");
        QTest::newRow("mAh") << 0.0 << 0.0 << 2000.0 << QStringLiteral("2000 mAh (limite 2000 mAh)");
        QTest::newRow("more mAh") << 0.0 << 0.0 << 2000.9 << QStringLiteral("2000 mAh (limite 2000 mAh)");
        QTest::newRow("all") << 60.0 << 1e5 << 1e5 << QStringLiteral("température 60 °C (limite 60 °C)");
    }
    void ALimitIsReachedFromItsValueOn()
    {
        QFETCH(double, temperature);
        QFETCH(double, seconds);
        QFETCH(double, milliampereHours);
        const Progress progress{temperature, seconds, milliampereHours};
        const Limits all{60, 90, 2000};
        QTEST(all.Reached(progress), "cause");
        QCOMPARE(Limits().Reached(progress), QString());
    }

    void ATemperatureThatIsNotKnownReachesNothing()
    {
        const Limits limits{60, {}, {}};
        QCOMPARE(limits.Reached({std::nullopt, 0, 0}), QString());
    }

    void AFlowIsIntegratedByThisClock()
    {
        SimulatedClock clock;
        Flow flow;
        clock.Run(1h);
        flow.Add(1.5);
        QCOMPARE(flow.MilliampereHours(), 1500.0);
        clock.Run(30min);
        flow.Add(2);
        QCOMPARE(flow.MilliampereHours(), 2500.0);
        QCOMPARE(flow.Seconds(), 5400.0);
    }

    // ---- in a run

    void LimitsAreOffAtFirst()
    {
        Charge bench;
        for (const char *name : {temperatureMax, dureeMax, capaciteMax}) {
            QVERIFY(!bench.limits.Tick(name)->isChecked());
            QVERIFY(!bench.limits.Spin(name)->isEnabled());
        }
        bench.SetTemperature(300);
        bench.Start();
        Simulated().Run(30min);
        QVERIFY(bench.window.Running());
    }

    void AHotBoardEndsTheChargeOnceItsStepIsRecorded()
    {
        Charge bench;
        bench.limits.Limit(temperatureMax, 60);
        bench.SetTemperature(59);
        bench.Start();
        SOON(bench.Records() >= 5);
        const qsizetype records = bench.Records();
        bench.SetTemperature(61);
        bench.board.TakeReceived();
        SOON_EQUAL(bench.State(), QStringLiteral("Arret : température 61 °C (limite 60 °C)"));
        QCOMPARE(bench.Records(), records + 1);
        QVERIFY(bench.Log().contains(" 61 :"));
        // The step to its end, the stop, nothing else.
        QVERIFY(bench.board.Received().endsWith(chargeStepEnd + chargeStop));
        Simulated().Run(10s);
        QVERIFY(bench.board.Received().endsWith(chargeStepEnd + chargeStop));
        QCOMPARE(bench.Records(), records + 1);
        QVERIFY(!bench.board.ChargeOn());
        QVERIFY(!bench.link.outputs.Unconfirmed());
        QVERIFY(bench.Note().endsWith("  Arret : température 61 °C (limite 60 °C)\n"));
    }

    void ALongChargeIsEnded()
    {
        Charge bench;
        bench.limits.Limit(dureeMax, 90);
        bench.Start();
        Simulated().Run(90min - 2s);
        QVERIFY(bench.window.Running());
        SOON_EQUAL(bench.State(), QStringLiteral("Arret : durée 90 min (limite 90 min)"));
    }

    void TimeCountsFromTheStartOfEachCharge()
    {
        Charge bench;
        bench.limits.Limit(dureeMax, 2);
        bench.Start();
        Simulated().Run(100s);
        bench.Button("CBstart")->click(); // a new one in its place
        Simulated().Run(110s);
        QVERIFY(bench.window.Running());
        SOON(!bench.window.Running());
    }

    void AFullCountEndsTheCharge()
    {
        Charge bench;
        bench.limits.Limit(capaciteMax, 100); // four minutes at 1.5 A
        bench.Start();
        Simulated().Run(235s);
        QVERIFY(bench.window.Running());
        SOON_EQUAL(bench.State(), QStringLiteral("Arret : 100 mAh (limite 100 mAh)"));
    }

    void MidnightOfTheBoardsClockMovesNoLimit()
    {
        Charge bench;
        bench.board.On(41, 0, [clock = std::make_shared<int>(86390)](const QByteArray &) {
            const int now = (*clock)++ % 86400;
            return Bytes({27, now / 3600, now / 60 % 60, now % 60, 0});
        });
        bench.limits.Limit(dureeMax, 3);
        bench.limits.Limit(capaciteMax, 50); // two minutes
        bench.Start();
        Simulated().Run(119s);
        QVERIFY(bench.window.Running());
        SOON_EQUAL(bench.State(), QStringLiteral("Arret : 50 mAh (limite 50 mAh)"));
    }

    void ADischargeIsLimitedToo()
    {
        Discharge bench;
        bench.limits.Limit(capaciteMax, 100); // at 2 A
        bench.Start();
        Simulated().Run(175s);
        QVERIFY(bench.window.Running());
        const qsizetype records = bench.Records();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret : 100 mAh (limite 100 mAh)"));
        QVERIFY(bench.Records() > records);
        QVERIFY(bench.board.Received().endsWith(dischargeStop));
        QVERIFY(!bench.board.DischargeOn());
    }

    void AnEndByTheRuleGoesFirst()
    {
        Charge bench;
        bench.Start();
        SOON(bench.Records() >= 2);
        bench.limits.Limit(temperatureMax, 60);
        bench.SetTemperature(70);
        bench.board.channel[12] = 600; // and the charge is full
        QSignalSpy ended(&bench.window, &RunWindow::Ended);
        SOON(!ended.isEmpty());
        QCOMPARE(bench.State(), QStringLiteral("Charge Terminée"));
    }

    void AChangedLimitHoldsAtOnce()
    {
        Charge bench;
        bench.limits.Limit(temperatureMax, 60);
        bench.Start();
        SOON(bench.Records() >= 2);
        const qsizetype records = bench.Records();
        bench.limits.Spin(temperatureMax)->setValue(25); // as warm as it is
        SOON(!bench.window.Running());
        QVERIFY(bench.Records() <= records + 1);
    }

    void ANumberIsTakenOnceItIsTyped()
    {
        Charge bench;
        bench.limits.Limit(dureeMax, 300);
        bench.Start();
        Simulated().Run(90s);
        auto *edit = bench.limits.Spin(dureeMax)->findChild<QLineEdit *>();
        edit->selectAll();
        for (const char digit : {'1', '2', '0'}) {
            QTest::keyClick(edit, digit);
            Simulated().Run(1500ms); // a 1 is reached, and not meant
        }
        QVERIFY(bench.window.Running());
        QCOMPARE(bench.limits.Spin(dureeMax)->value(), 300);
        Simulated().Run(1s);
        QCOMPARE(bench.limits.Spin(dureeMax)->value(), 120);
        QVERIFY(bench.window.Running());
    }

    void TheStateFitsItsFrame()
    {
        Charge bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        const QRect before = bench.Find<QPushButton>("CBstart")->geometry();
        bench.window.StopFor(QStringLiteral("température 100 °C (limite 100 °C)"));
        SOON(bench.State().startsWith(QLatin1String("Arret :")));
        const auto *state = bench.Find<QLabel>("Label18");
        QVERIFY(state->heightForWidth(state->width()) <= state->height());
        QCOMPARE(bench.Find<QPushButton>("CBstart")->geometry(), before);
        bench.Button("CBstart")->click();
        QVERIFY(state->font().pointSize() > 12); // a state is large again
    }

    // ---- what cannot be watched

    void ATemperatureThatIsNotCalibratedIsSaid()
    {
        Charge bench;
        QCOMPARE(bench.limits.Blindness(), QString());
        bench.limits.Limit(temperatureMax, 60);
        QCOMPARE(bench.limits.Blindness(), QString());
        bench.link.MasterEeprom[0] = bench.link.MasterEeprom[1] = 0;
        bench.SetTemperature(300);
        bench.Start();
        SOON_EQUAL(bench.limits.Blindness(), QStringLiteral("température non étalonnée : limite sans effet"));
        Simulated().Run(1min);
        QVERIFY(bench.window.Running());
        bench.limits.Tick(temperatureMax)->setChecked(false);
        QCOMPARE(bench.limits.Blindness(), QString());
    }

    void ACurrentThatIsNotCalibratedIsSaid()
    {
        Charge bench;
        bench.link.SlaveEeprom[0] = bench.link.SlaveEeprom[1] = 0;
        bench.limits.Limit(temperatureMax, 60);
        QCOMPARE(bench.limits.Blindness(), QString());
        bench.limits.Limit(capaciteMax, 60);
        QCOMPARE(bench.limits.Blindness(), QStringLiteral("courant non étalonné : limite sans effet"));
        bench.link.MasterEeprom[0] = bench.link.MasterEeprom[1] = 0;
        Q_EMIT bench.link.handshake.Connected();
        QCOMPARE(bench.limits.Blindness(), QStringLiteral("température et courant non étalonnés : limites sans effet"));
    }

    void AnUnattendedRunSaysOnceWhatItCannotWatch()
    {
        Charge bench;
        bench.link.MasterEeprom[0] = bench.link.MasterEeprom[1] = 0;
        UnattendedCharge run(bench.link, bench.window, {}, 1);
        run.SetLimits({60, {}, {}});
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("température non étalonnée : limite sans effet")));
        AnswerBoxes();
        QVERIFY(bench.limits.Tick(temperatureMax)->isChecked());
        QVERIFY(!bench.limits.Tick(dureeMax)->isChecked());
        run.SetControls();
        SOON(bench.Records() >= 5);
        QVERIFY(bench.window.Running());
        QVERIFY(BoxTexts().isEmpty());
    }

    // ---- what is remembered

    void LimitsAreRememberedForEachWindow()
    {
        Charge bench;
        bench.limits.Limit(temperatureMax, 45);
        bench.limits.Limit(dureeMax, 33);
        bench.limits.Tick(dureeMax)->setChecked(false);

        Kept<Chargeur> next(bench.link);
        next.Open();
        LimitBoxes again(next);
        QVERIFY(again.Tick(temperatureMax)->isChecked());
        QVERIFY(again.Spin(temperatureMax)->isEnabled());
        QCOMPARE(again.Spin(temperatureMax)->text(), QStringLiteral("45 °C"));
        QVERIFY(!again.Tick(dureeMax)->isChecked());
        QCOMPARE(again.Spin(dureeMax)->value(), 33);
        QCOMPARE(again.Spin(capaciteMax)->text(), QStringLiteral("2000 mAh"));

        Kept<Dechargeur> other(bench.link);
        other.Open();
        QVERIFY(!LimitBoxes(other).Tick(temperatureMax)->isChecked());
        QCOMPARE(LimitBoxes(other).Spin(temperatureMax)->value(), 60);

        bench.window.close();
        bench.window.Open();
        QVERIFY(bench.limits.Tick(temperatureMax)->isChecked());
        QCOMPARE(bench.limits.Spin(temperatureMax)->text(), QStringLiteral("45 °C"));
    }

    void WhatIsNoLimitIsNotRecalled()
    {
        Charge bench;
        QFile file(bench.folder.filePath(QStringLiteral("voltaire.ini")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Chargeur]\ntemperatureMax=chaud\ntemperatureMaxActive=true\ndureeMax=-7\ndureeMaxActive=true\n");
        file.close();
        bench.window.close();
        bench.window.Open();
        QVERIFY(!bench.limits.Tick(temperatureMax)->isChecked());
        QCOMPARE(bench.limits.Spin(temperatureMax)->value(), 60);
        QCOMPARE(bench.limits.Spin(dureeMax)->value(), 1);
    }

    void LimitsOfOneRunAreNotRemembered()
    {
        Charge bench;
        bench.Find<LimitsBox>("securites")->Show({70, 5, {}});
        QVERIFY(bench.limits.Tick(temperatureMax)->isChecked());
        QCOMPARE(bench.limits.Spin(dureeMax)->value(), 5);
        QVERIFY(!bench.limits.Tick(capaciteMax)->isChecked());
        QVERIFY(!QFileInfo::exists(bench.folder.filePath(QStringLiteral("voltaire.ini"))));
    }

    void TabsGoThroughThemBeforeTheButtons()
    {
        Charge bench;
        bench.limits.Limit(temperatureMax, 60);
        bench.limits.Limit(dureeMax, 60);
        bench.limits.Limit(capaciteMax, 60);
        SOON_EQUAL(QGuiApplication::focusWindow(), bench.window.windowHandle());
        QStringList order;
        bench.SliderOf("Slider3")->setFocus();
        for (int i = 0; i < 8; ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            order.append(QApplication::focusWidget()->objectName());
        }
        QCOMPARE(order.join(u' '), QStringLiteral("temperatureMaxActive temperatureMax dureeMaxActive dureeMax "
                                                  "capaciteMaxActive capaciteMax CBstart CBStop"));
    }
};

REGISTER_TEST(TestLimits)
#include "tst_limits.moc"
