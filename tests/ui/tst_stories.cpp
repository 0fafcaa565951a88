// SPDX-License-Identifier: GPL-3.0-or-later
#include "house.h"
#include "support/suite.h"

#include <QComboBox>

#include <algorithm>

namespace {
const QByteArray chargeStart = Bytes({27, 18, 0, 27, 16, 0, 27, 17, 1, 27, 15, 1, 27, 20, 35});
const QByteArray clockRequest = Bytes({27, 41});
const QByteArray lastOfSession = Bytes({27, 38, 15});
const QByteArray streamRequest = Bytes({27, 3});
const QByteArray switchPort = Bytes({27, 31});
} // namespace

/// What happens to people: whole windows, a board that does not always do as it should.
class TestStories : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- greetings

    void StartsDuringAReconnectionWhoseSecondAnswerIsLost()
    {
        House house;
        house.Load();
        house.Press("cb_chargeur");
        Chargeur &charge = house.main.ChargeWindow();
        house.board.greet = [lost = false](quint8 greeting) mutable {
            if (greeting == 170 && !std::exchange(lost, true))
                return QByteArray();
            return Bytes({greeting == 85 ? 27 : 85});
        };
        QSignalSpy connected(&house.main.Link().handshake, &Handshake::Connected);
        QSignalSpy started(&charge, &RunWindow::Started);
        house.Press("Cb_Reconnect");
        Simulated().Run(20ms);
        House::Press(charge, "CBstart");
        Simulated().Run(20ms);
        House::Press(charge, "CBstart");
        SOON_EQUAL(connected.size(), 1);
        SOON_EQUAL(started.size(), 1);
        Simulated().Run(5s);
        const QByteArray sent = house.board.TakeReceived();
        QCOMPARE(sent.count(lastOfSession), 1);
        QCOMPARE(sent.count(chargeStart), 1);
        // After a second of hearing nothing the greeting lets the charge go first and begins again behind it.
        QVERIFY(sent.indexOf(chargeStart) < sent.indexOf(lastOfSession));
        QCOMPARE(connected.size(), 1);
        QCOMPARE(started.size(), 1);
        QVERIFY(BoxTexts().isEmpty());

        // One step a second, one record a step.
        QSignalSpy recorded(&charge, &RunWindow::Recorded);
        Simulated().Run(10s);
        const auto steps = house.board.Received().count(clockRequest);
        QVERIFY(steps == 9 || steps == 10);
        QVERIFY(qAbs(recorded.size() - steps) <= 1);
        QCOMPARE(House::State(charge), QStringLiteral("CHARGE"));
        QVERIFY(house.board.ChargeOn());
    }

    void ALostSecondAnswerDoesNotEndTheSupervisionOfACharge()
    {
        House house;
        house.Load();
        house.Charge();
        Chargeur &charge = house.main.ChargeWindow();
        house.board.greet = [lost = false](quint8 greeting) mutable {
            if (greeting == 170 && !std::exchange(lost, true))
                return QByteArray();
            return Bytes({greeting == 85 ? 27 : 85});
        };
        QSignalSpy connected(&house.main.Link().handshake, &Handshake::Connected);
        QSignalSpy ended(&charge, &RunWindow::Ended);
        house.Press("Cb_Reconnect");
        SOON_EQUAL(connected.size(), 1);
        house.CheckSupervision();
        QVERIFY(charge.Running());
        house.board.channel[12] -= 10;
        SOON_EQUAL(ended.size(), 1);
        QCOMPARE(House::State(charge), QStringLiteral("Charge Terminée"));
        QVERIFY(!house.ChargeOn());
        QVERIFY(BoxTexts().isEmpty());
    }

    void AnActivationAtAnyMomentOfAReconnectionLosesNothing()
    {
        House house;
        house.Load();
        house.Charge();
        house.main.Link().ReconnectOnActivate = 0;
        house.board.greet = [](quint8) { return QByteArray(); };
        house.Press("Cb_Reconnect");
        QWidget other;
        for (int moment = 0; moment < 250; ++moment) {
            if (moment % 24 == 0)
                house.board.Send(Bytes({0})); // a greeting that has heard something is not given up so soon
            other.show();
            other.activateWindow();
            Simulated().Run(37ms);
            house.main.activateWindow();
            Simulated().Run(20ms);
            QCOMPARE(BoxTexts(), QStringList());
            QCOMPARE(QGuiApplication::focusWindow(), house.main.windowHandle());
        }
        QSignalSpy connected(&house.main.Link().handshake, &Handshake::Connected);
        house.board.Healthy();
        SOON_EQUAL(connected.size(), 1);
        QVERIFY(BoxTexts().isEmpty());
        house.CheckSupervision();
        QVERIFY(house.main.ChargeWindow().Running());
    }

    void ActivationsWhileAStopIsToldConnectOnce()
    {
        House house;
        house.Load();
        house.Charge();
        house.board.SetSilent(true);
        QSignalSpy connected(&house.main.Link().handshake, &Handshake::Connected);
        QSignalSpy cut(&house.main.Link(), &Codebas::PortCut);
        House::Press(house.main.ChargeWindow(), "CBStop");
        for (int activation = 0; activation < 3; ++activation) {
            house.TurnAwayAndBack();
            QCOMPARE(cut.size(), 0); // the stop is still under way
        }
        house.board.SetSilent(false);
        SOON_EQUAL(connected.size(), 1);
        Simulated().Run(5s);
        QCOMPARE(connected.size(), 1);
        QCOMPARE(cut.size(), 1);
        QVERIFY(!house.ChargeOn());
        QVERIFY(!House::WarnsIn(house.main));
        QVERIFY(BoxTexts().isEmpty());
    }

    void AnActivationWhileADisconnectionIsUnderWayConnects()
    {
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = 0;
        house.Charge();
        house.board.SetSilent(true);
        House::Press(house.main.ChargeWindow(), "CBStop");
        house.Press("CD_DECONNECT");
        QCOMPARE(house.Display(), QStringLiteral("Déconnecté"));
        QVERIFY(house.main.SerialPort().PortOpen()); // the stop is still under way
        house.TurnAwayAndBack();
        house.board.SetSilent(false);
        SOON(house.Connected());
        QCOMPARE(house.main.Link().LinkDropped, false);
        QCOMPARE(house.main.Link().ReconnectOnActivate, 1);
        Simulated().Run(5s);
        QVERIFY(!house.ChargeOn());
    }

    // ---- stops

    void AStopInMidStepLeavesTheChargeOff_data()
    {
        QTest::addColumn<int>("lost");
        for (int lost = 0; lost < 6; ++lost)
            QTest::addRow("acknowledgement %d lost", lost) << lost;
        QTest::addRow("none lost") << -1;
    }
    void AStopInMidStepLeavesTheChargeOff()
    {
        QFETCH(int, lost);
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = 0;
        Chargeur &charge = house.main.ChargeWindow();
        for (auto moment = 0ms; moment < 22ms; ++moment) {
            house.Charge();
            house.board.TakeReceived();
            SOON_EQUAL(house.board.Received(), clockRequest);
            Simulated().Run(moment);
            house.losing = lost;
            House::Press(charge, "CBStop");
            Simulated().Run(5s);
            house.losing = -1;
            const QString when = QStringLiteral("%1 ms into the step").arg(moment.count());
            QVERIFY2(!house.ChargeOn(), qPrintable(when));
            QVERIFY2(House::State(charge) == QStringLiteral("Arret"), qPrintable(when));
            QVERIFY2(!House::WarnsIn(charge) && !House::WarnsIn(house.main), qPrintable(when));
            QVERIFY2(!charge.Running() && BoxTexts().isEmpty(), qPrintable(when));
        }
    }

    void AStopWhileTheBatteryRestsLeavesTheDischargePathOff_data()
    {
        QTest::addColumn<int>("lost");
        for (int lost = 0; lost < 5; ++lost)
            QTest::addRow("acknowledgement %d lost", lost) << lost;
    }
    void AStopWhileTheBatteryRestsLeavesTheDischargePathOff()
    {
        QFETCH(int, lost);
        House house;
        house.Load();
        house.Charge();
        Chargeur &charge = house.main.ChargeWindow();
        SOON(house.board.DischargeOn() && charge.findChild<Timer *>(QStringLiteral("Timerch2"))->Enabled());
        house.losing = lost;
        House::Press(charge, "CBStop");
        Simulated().Run(5s);
        QVERIFY(!house.board.DischargeOn());
        QVERIFY(!house.board.ChargeOn());
        QCOMPARE(House::State(charge), QStringLiteral("Arret"));
        QVERIFY(!House::WarnsIn(charge));
    }

    void ABoardThatIsDeafFromTheStopOnIsToldAgain_data()
    {
        QTest::addColumn<bool>("midStep");
        QTest::newRow("between two steps") << false;
        QTest::newRow("in a step") << true;
    }
    void ABoardThatIsDeafFromTheStopOnIsToldAgain()
    {
        QFETCH(bool, midStep);
        House house;
        house.Load();
        house.Charge();
        Chargeur &charge = house.main.ChargeWindow();
        if (midStep)
            SOON(house.board.Received().endsWith(Bytes({27, 10})));
        house.board.SetSilent(true);
        House::Press(charge, "CBStop");
        SOON_EQUAL(House::State(charge), QStringLiteral("Arret"));
        SOON(House::WarnsIn(charge));
        QVERIFY(House::WarnsIn(house.main));
        Simulated().Run(1200ms);
        QVERIFY(House::WarnsIn(charge));
        QVERIFY(house.board.ChargeOn());
        house.board.SetSilent(false);
        // In sight until the board has said that it is off.
        int reads = 0;
        house.board.On(31, 0, [&](const QByteArray &) {
            if (!house.ChargeOn())
                ++reads;
            const auto &lines = house.board.lines;
            return Bytes({27, (lines.at(16) ? 0 : 1) | (lines.at(15) ? 0 : 2) | (lines.at(17) ? 0 : 4), 0});
        });
        SOON(!House::WarnsIn(charge));
        QVERIFY(reads >= 2);
        QVERIFY(!house.ChargeOn());
        QVERIFY(!House::WarnsIn(house.main));
        QCOMPARE(House::State(charge), QStringLiteral("Arret"));
        Simulated().Run(5s);
        QVERIFY(!house.ChargeOn());
    }

    void ADischargeThatIsLeftWithADeafBoardIsOffInTheEnd_data()
    {
        QTest::addColumn<int>("deafMs");
        for (int deafMs = 300; deafMs <= 1000; deafMs += 100)
            QTest::addRow("%d ms", deafMs) << deafMs;
    }
    void ADischargeThatIsLeftWithADeafBoardIsOffInTheEnd()
    {
        QFETCH(int, deafMs);
        House house;
        house.Load();
        house.Discharge();
        house.board.SetSilent(true);
        House::Press(house.main.DischargeWindow(), "CQuitter");
        Simulated().Run(deafMs * 1ms);
        QVERIFY(house.board.DischargeOn());
        house.board.SetSilent(false);
        SOON(!house.board.DischargeOn());
        Simulated().Run(5s);
        QVERIFY(!house.board.DischargeOn());
        QVERIFY(!House::WarnsIn(house.main));
        QVERIFY(BoxTexts().isEmpty());
    }

    void TheActivationAfterLeavingADischargeLosesNothing()
    {
        House house;
        house.Load();
        house.Discharge();
        house.board.TakeReceived();
        QSignalSpy cut(&house.main.Link(), &Codebas::PortCut);
        House::Press(house.main.DischargeWindow(), "CQuitter");
        SOON_EQUAL(QGuiApplication::focusWindow(), house.main.windowHandle());
        Simulated().Run(5s);
        QCOMPARE(cut.size(), 1); // the activation
        QVERIFY(house.main.SerialPort().PortOpen());
        QCOMPARE(house.board.Received(), Bytes({27, 16, 0}));
        QVERIFY(!house.board.DischargeOn());
    }

    void QuittingRightAfterAStopStillTellsTheBoard_data()
    {
        QTest::addColumn<bool>("midStep");
        QTest::addColumn<bool>("charge");
        QTest::newRow("charge, between two steps") << false << true;
        QTest::newRow("charge, in a step") << true << true;
        QTest::newRow("discharge, between two steps") << false << false;
        QTest::newRow("discharge, in a step") << true << false;
    }
    void QuittingRightAfterAStopStillTellsTheBoard()
    {
        QFETCH(bool, midStep);
        QFETCH(bool, charge);
        House house;
        house.Load();
        if (charge)
            house.Charge();
        else
            house.Discharge();
        QWidget &run = charge ? static_cast<QWidget &>(house.main.ChargeWindow()) : house.main.DischargeWindow();
        if (midStep)
            SOON(house.board.Received().endsWith(Bytes({27, charge ? 10 : 11})));
        const std::function<void()> onward = [&] { // until the program ends, and no longer
            Simulated().Run(1ms);
            QTimer::singleShot(0ms, &house.main, onward);
        };
        QTimer::singleShot(0ms, &house.main, [&] {
            House::Press(run, "CBStop");
            house.Press("Cb_quitter");
            onward();
        });
        QCOMPARE(QCoreApplication::exec(), 0);
        QVERIFY(!house.ChargeOn());
    }

    // ---- one thing at a time

    void ARunBarsEveryOther_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<QString>("name");
        QTest::newRow("charge") << 0 << QStringLiteral("Une charge est en cours, ");
        QTest::newRow("discharge") << 1 << QStringLiteral("Une décharge est en cours, ");
        QTest::newRow("capacity") << 2 << QStringLiteral("Une mesure de capacité est en cours, ");
    }
    void ARunBarsEveryOther()
    {
        QFETCH(int, first);
        QFETCH(QString, name);
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = 0;
        const Window *runs[] = {&house.main.ChargeWindow(), &house.main.DischargeWindow(),
                                &house.main.CapacityWindow()};
        const auto running = [&house] {
            return int(house.main.ChargeWindow().Running()) + 2 * int(house.main.DischargeWindow().Running()) +
                   4 * int(house.main.CapacityWindow().Running());
        };
        for (const char *button : {"cb_chargeur", "CbDechargeur", "CbCapa"})
            house.Press(button);
        house.main.DischargeWindow().findChild<QLineEdit *>(QStringLiteral("Text1"))->setText(QStringLiteral("6"));
        house.Press("Cb_Reglage");
        auto *menu = House::Named("Reglage")->findChild<QComboBox *>(QStringLiteral("SelRegl"));
        House::Press(*runs[first], "CBstart");
        Simulated().Run(5s);
        QCOMPARE(running(), 1 << first);
        for (const Window *other : runs) {
            if (other == runs[first])
                continue;
            const QString state = other == runs[2] ? QString() : House::State(*other);
            House::Press(*other, "CBstart");
            QCOMPARE(BoxTexts().size(), 1);
            QVERIFY2(BoxTexts().constFirst().startsWith(name), qPrintable(BoxTexts().constFirst()));
            AnswerBoxes();
            if (other != runs[2])
                QCOMPARE(House::State(*other), state);
        }
        for (const int entry : {3, 4}) { // the calibrations with a current
            menu->setCurrentIndex(entry);
            QCOMPARE(BoxTexts().size(), 1);
            QVERIFY(BoxTexts().constFirst().startsWith(name));
            AnswerBoxes();
        }
        QVERIFY(!House::Named("Rcourant")->isVisible() && !House::Named("RglDech")->isVisible());
        menu->setCurrentIndex(0); // the others are as they were
        QVERIFY(House::Named("Temper")->isVisible());
        QVERIFY(BoxTexts().isEmpty());
        QCOMPARE(running(), 1 << first);
        House::Press(*runs[first], "CBStop");
        SOON(running() == 0 && !house.ChargeOn());
        menu->setCurrentIndex(4);
        QVERIFY(House::Named("RglDech")->isVisible());
    }

    void ACalibrationsCurrentBarsRuns()
    {
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = 0;
        house.Press("Cb_Reglage");
        auto *menu = House::Named("Reglage")->findChild<QComboBox *>(QStringLiteral("SelRegl"));
        menu->setCurrentIndex(4);
        SOON(house.board.DischargeOn());
        house.Press("cb_chargeur");
        House::Press(house.main.ChargeWindow(), "CBstart");
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral(
                                 "La fenêtre de réglage du courant de décharge est ouverte et laisse passer un "
                                 "courant.\nFermez-la d'abord : les deux se disputeraient les sorties de la carte.")));
        AnswerBoxes();
        QVERIFY(!house.main.ChargeWindow().Running());
        QCOMPARE(House::State(house.main.ChargeWindow()), QStringLiteral("Prêt"));
        Simulated().Run(5s);
        QVERIFY(!house.board.ChargeOn());
        House::Press(*House::Named("RglDech"), "Btquit");
        house.Charge();
        QVERIFY(house.board.ChargeOn());
    }

    // ---- the monitor

    void ACalibrationLeftForTheMonitorIsOffBeforeTheBoardStreams_data()
    {
        QTest::addColumn<int>("afterMs");
        for (const int afterMs : {0, 1, 2, 3, 10, 100, 499, 500, 501, 502, 504, 508})
            QTest::addRow("%d ms after the opening", afterMs) << afterMs;
    }
    void ACalibrationLeftForTheMonitorIsOffBeforeTheBoardStreams()
    {
        QFETCH(int, afterMs);
        House house;
        house.Load();
        house.Press("Cb_Reglage");
        House::Named("Reglage")->findChild<QComboBox *>(QStringLiteral("SelRegl"))->setCurrentIndex(4);
        const QWidget *calibration = House::Named("RglDech");
        QVERIFY(calibration->isVisible());
        SOON(house.board.DischargeOn());
        Simulated().Run(afterMs * 1ms);
        bool onWhenItStreamed = false;
        house.board.On(3, 0, [&](const QByteArray &) {
            onWhenItStreamed |= house.ChargeOn();
            return QByteArray();
        });
        house.board.TakeReceived();
        House::Press(*calibration, "Btquit");
        house.Press("CbMoni");
        SOON(house.board.Received().contains(streamRequest));
        Simulated().Run(2s);
        QVERIFY(!onWhenItStreamed);
        QVERIFY(!house.ChargeOn());
        QVERIFY(House::Named("Moni")->isVisible());
        QCOMPARE(house.board.Speed(), 19200);
        QVERIFY(house.main.Link().Streaming);
        QVERIFY(BoxTexts().isEmpty());
    }

    void TheMonitorIsNotDisturbedByTheActivationBeforeIt_data()
    {
        QTest::addColumn<int>("reconnectOnActivate");
        QTest::newRow("port reopened") << 0;
        QTest::newRow("connected anew") << 1;
    }
    void TheMonitorIsNotDisturbedByTheActivationBeforeIt()
    {
        QFETCH(int, reconnectOnActivate);
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = reconnectOnActivate;
        house.Charge();
        house.board.SetSilent(true);
        House::Press(house.main.ChargeWindow(), "CBStop");
        house.TurnAwayAndBack(); // which waits for the stop
        house.board.SetSilent(false);
        house.Press("CbMoni");
        Simulated().Run(5s);
        QVERIFY(house.main.Link().Streaming);
        QCOMPARE(house.board.Speed(), 19200);
        const QByteArray sent = house.board.Received();
        QCOMPARE(sent.count(streamRequest), 1);
        QVERIFY(!sent.mid(sent.indexOf(streamRequest)).contains(char(85)));
        QVERIFY(BoxTexts().isEmpty());
    }

    void AStopThatWasNotHeardIsToldBeforeTheSessionEnds_data()
    {
        QTest::addColumn<int>("deafMs");
        QTest::addColumn<QByteArray>("button");
        for (const int deafMs : {200, 400, 800, 1200, 2500})
            for (const char *button : {"CbMoni", "CD_DECONNECT"})
                QTest::addRow("%d ms, %s", deafMs, button) << deafMs << QByteArray(button);
    }
    void AStopThatWasNotHeardIsToldBeforeTheSessionEnds()
    {
        QFETCH(int, deafMs);
        QFETCH(QByteArray, button);
        House house;
        house.Load();
        house.Charge();
        house.board.SetSilent(true);
        House::Press(house.main.ChargeWindow(), "CBStop");
        Simulated().Run(deafMs * 1ms);
        house.board.SetSilent(false);
        bool onAtItsEnd = false;
        house.board.On(3, 0, [&](const QByteArray &) {
            onAtItsEnd |= house.ChargeOn();
            return QByteArray();
        });
        house.board.TakeReceived();
        house.Press(button.constData());
        SOON(house.board.Received().contains(streamRequest));
        Simulated().Run(2s);
        if (deafMs != 800) // when it happens to be told again anyway
            QVERIFY(!onAtItsEnd);
        QVERIFY(!house.ChargeOn());
    }

    // ---- errors

    void AFatalErrorWhileThePortIsGoneSwitchesOffOnceItIsBack_data()
    {
        QTest::addColumn<bool>("unplugged");
        QTest::newRow("closed") << false;
        QTest::newRow("unplugged") << true;
    }
    void AFatalErrorWhileThePortIsGoneSwitchesOffOnceItIsBack()
    {
        QFETCH(bool, unplugged);
        House house;
        house.Load();
        house.Charge();
        Chargeur &charge = house.main.ChargeWindow();
        if (unplugged)
            house.board.Unplug();
        else
            for (int i = 0; i < 2; ++i)
                house.Press("CD_DECONNECT"); // it asks, and the user insists
        SOON(!house.main.SerialPort().PortOpen());
        Simulated().Run(2s);
        AnswerBoxes();
        charge.findChild<QLineEdit *>(QStringLiteral("Text1"))->setText(QStringLiteral("256")); // no byte
        House::Press(charge, "CBstart");
        SOON_EQUAL(BoxTexts().size(), 1);
        const QString said = BoxTexts().constFirst();
        QVERIFY2(said.startsWith(QStringLiteral("Dépassement de capacité : ")), qPrintable(said));
        QCOMPARE(
            OpenBoxes().constFirst()->informativeText(),
            QStringLiteral("Il faut un nombre de 0 à 255.\nLe programme va s'arrêter ; le port n'est pas ouvert : si "
                           "un courant passe encore, débranchez l'accu."));
        Simulated().Run(20s);
        QVERIFY(house.board.ChargeOn());
        if (unplugged)
            house.board.Plug();
        else
            house.Press("Cb_Reconnect");
        SOON(!house.ChargeOn());
        Simulated().Run(20s);
        QVERIFY(!house.ChargeOn());
        QVERIFY(!House::WarnsIn(house.main));
        QVERIFY(!charge.Running());
        QCOMPARE(BoxTexts(), QStringList(said)); // it is open still
    }

    void AnErrorInAReopenedWindowSwitchesOffWhatWasLeftOn()
    {
        House house;
        house.Load();
        house.Charge();
        Chargeur &charge = house.main.ChargeWindow();
        House::Press(charge, "CQuitter");
        SOON_EQUAL(QGuiApplication::focusWindow(), house.main.windowHandle());
        Simulated().Run(3s);
        QVERIFY(house.board.ChargeOn());
        house.Press("cb_chargeur");
        QCOMPARE(House::State(charge), QStringLiteral("Prêt"));
        charge.findChild<QLineEdit *>(QStringLiteral("Text1"))->setText(QStringLiteral("256"));
        House::Press(charge, "CBstart");
        SOON_EQUAL(BoxTexts().size(), 1);
        QCOMPARE(
            OpenBoxes().constFirst()->informativeText(),
            QStringLiteral("Il faut un nombre de 0 à 255.\nLe programme va s'arrêter ; les sorties sont coupées."));
        SOON_EQUAL(QGuiApplication::focusWindow(), OpenBoxes().constFirst()->windowHandle());
        SOON(!house.ChargeOn());
        Simulated().Run(5s);
        QVERIFY(!house.ChargeOn());
        QVERIFY(!House::WarnsIn(house.main));
    }

    void AnErrorThatEndsTheProgramCutsWhatOtherWindowsHaveOn_data()
    {
        QTest::addColumn<bool>("left");
        QTest::newRow("a charge that is on") << false;
        QTest::newRow("a charge that was left on") << true;
    }
    void AnErrorThatEndsTheProgramCutsWhatOtherWindowsHaveOn()
    {
        QFETCH(bool, left);
        House house;
        house.Load();
        house.Charge();
        if (left)
            House::Press(house.main.ChargeWindow(), "CQuitter");
        house.Press("Cb_Debug");
        House::Press(*House::Named("Micro"), "CBEtat");
        QWidget &dashboard = *House::Named("FEtat");
        SOON(dashboard.isVisible());
        house.board.channel[8] = 128 * 256; // no reading that a count can be
        House::Press(dashboard, "CBAUTO");
        SOON_EQUAL(BoxTexts().size(), 1);
        const QMessageBox &box = *OpenBoxes().constFirst();
        QCOMPARE(box.text(), QStringLiteral("Dépassement de capacité : mesure de la voie 8"));
        QCOMPARE(box.informativeText(), QStringLiteral("Le programme va s'arrêter ; les sorties sont coupées."));
        SOON(!house.ChargeOn());
        Simulated().Run(5s);
        QVERIFY(!house.ChargeOn());
        QVERIFY(!house.main.ChargeWindow().Running());
        QVERIFY(!House::WarnsIn(house.main));
    }

    // ---- loss and silence

    void AReconnectionWhileTheAdapterIsOutLeavesNoChargeUnwatched_data()
    {
        QTest::addColumn<int>("outSeconds");
        QTest::addColumn<bool>("boardForgets");
        for (const int outSeconds : {1, 5, 14, 16, 40}) {
            QTest::addRow("%d s", outSeconds) << outSeconds << false;
            QTest::addRow("%d s, and the board begins anew", outSeconds) << outSeconds << true;
        }
    }
    void AReconnectionWhileTheAdapterIsOutLeavesNoChargeUnwatched()
    {
        QFETCH(int, outSeconds);
        QFETCH(bool, boardForgets);
        House house;
        house.Load();
        house.Charge();
        house.board.Unplug();
        Simulated().Run(500ms);
        house.Press("Cb_Reconnect");
        Simulated().Run(outSeconds * 1s);
        AnswerBoxes();
        if (boardForgets)
            house.board.lines.clear();
        house.board.Plug();
        Simulated().Run(20s);
        house.CheckSupervision();
        QCOMPARE(house.main.ChargeWindow().Running(), outSeconds < 15);
        QVERIFY(!House::WarnsIn(house.main));
        QVERIFY(house.main.SerialPort().PortOpen());
    }

    void ARunThatDoesNotGetOnIsAnAlarm_data()
    {
        QTest::addColumn<QString>("why");
        QTest::addColumn<bool>("charge");
        for (const char *why : {"silent board", "greeting that holds the line"}) {
            QTest::addRow("charge, %s", why) << QString::fromLatin1(why) << true;
            QTest::addRow("discharge, %s", why) << QString::fromLatin1(why) << false;
        }
    }
    void ARunThatDoesNotGetOnIsAnAlarm()
    {
        QFETCH(QString, why);
        QFETCH(bool, charge);
        House house;
        house.Load();
        if (charge)
            house.Charge();
        else
            house.Discharge();
        RunWindow &run = charge ? static_cast<RunWindow &>(house.main.ChargeWindow()) : house.main.DischargeWindow();
        house.board.SetSilent(true);
        Alarm chatter([&] { // a line that is never quiet, and says nothing
            house.board.Send(Bytes({0}));
            chatter.Start(40ms);
        });
        if (why != QStringLiteral("silent board")) {
            chatter.Start(40ms);
            house.Press("Cb_Reconnect");
        }
        Simulated().Run(13s);
        QVERIFY(run.Running());
        QVERIFY(BoxTexts().isEmpty());
        Simulated().Run(3s);
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts().constFirst().startsWith(
            QStringLiteral("La carte n'a fourni aucune mesure depuis 15 secondes : « %1 » est arrêté.")
                .arg(charge ? QStringLiteral("CHARGE") : QStringLiteral("DECHARGE"))));
        QCOMPARE(House::State(run), QStringLiteral("Arret"));
        QVERIFY(!run.Running());
        QVERIFY(House::WarnsIn(run));
        QVERIFY(house.ChargeOn());
        chatter.Stop();
        house.board.SetSilent(false);
        SOON(!house.ChargeOn());
        SOON(!House::WarnsIn(run));
        QCOMPARE(House::State(run), QStringLiteral("Arret"));
        SOON(house.Connected());
        Simulated().Run(5s);
        QVERIFY(!house.ChargeOn());
        QCOMPARE(BoxTexts().size(), 1);
    }
};

REGISTER_TEST(TestStories)
#include "tst_stories.moc"
