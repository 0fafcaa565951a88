// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacitybench.h"
#include "runs/runnote.h"
#include "support/coroutines.h"
#include "support/suite.h"

/// How a measurement is started, stopped and left.
class TestMesCapaEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void StartIsIgnoredWhileAMeasurementRuns()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        bench.Start();
        LATER(measured.size() >= 1);
        bench.Start();
        LATER(measured.size() >= 3);
        bench.Start();
        LATER(measured.size() >= 5);
        const QByteArray expected = resetBytes + RampBytes() + QuickSearchBytes() + Bytes({27, 19, 0}) +
                                    chargeTickBytes + chargeTickBytes + chargeTickBytes + chargeTickBytes +
                                    chargeTickBytes;
        QCOMPARE(bench.board.Received().left(expected.size()), expected);
    }

    void StopWithoutAMeasurement()
    {
        CapacityBench bench;
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Button("CBStop")->click();
        SOON_EQUAL(stopped.size(), 1);
        QCOMPARE(bench.board.Received(), stopBytes);
    }

    void AStopForACauseNamesItBelowTheStateAndInANote()
    {
        CapacityBench bench;
        drive::Prepare();
        bench.StartAndCharge();
        bench.board.TakeReceived();
        bench.window.StopFor(QStringLiteral("essai"));
        LATER_EQUAL(bench.Text("LbNote"), QStringLiteral("Arrêté : essai"));
        QVERIFY(bench.board.Received().contains(stopBytes));
        QVERIFY(!bench.window.Running());
        QFile note(runnote::PathOf(QString()));
        QVERIFY(note.open(QIODevice::ReadOnly));
        QVERIFY(note.readAll().endsWith("  Arret : essai\n"));
    }

    void AComputerThatHasSleptEndsTheMeasurement()
    {
        CapacityBench bench;
        bench.StartAndCharge();
        Simulated().Stall(8h);
        LATER_EQUAL(bench.Text("LbNote"), QStringLiteral("Arrêté : retour de veille"));
        QVERIFY(!bench.board.ChargeOn());
    }

    void BackWithoutAMeasurement()
    {
        CapacityBench bench;
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.Button("CbRetour")->click();
        QVERIFY(bench.window.isVisible()); // until the board has got it all
        SOON_EQUAL(returning.size(), 1);
        QCOMPARE(bench.board.Received(), backBytes);
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(bench.link.ReconnectOnActivate, 0);
        QVERIFY(BoxTexts().isEmpty());
    }

    void EndsFromEachPhase_data()
    {
        QTest::addColumn<QString>("phase");
        QTest::addColumn<QString>("way");
        for (const char *phase :
             {"Preparation Ch/Decharge", "Reglage Delta", "Probleme V Delta", "Charge", "Pause", " 60Pause ... ",
              "Decharge", "Mesure Resistance", "!! Surchauffe !!", "Fin du Processus"})
            for (const char *way : {"CBStop", "CbRetour"})
                QTest::addRow("%s %s", way, phase) << QString::fromUtf8(phase) << QString::fromUtf8(way);
        for (const char *phase : {"Preparation Ch/Decharge", "Charge", "Mesure Resistance"})
            QTest::addRow("close %s", phase) << QString::fromUtf8(phase) << QStringLiteral("close");
    }
    void EndsFromEachPhase()
    {
        QFETCH(QString, phase);
        QFETCH(QString, way);
        CapacityBench bench;
        if (phase == QLatin1String("Probleme V Delta"))
            bench.usualDelta = 0;
        else if (phase == QLatin1String("!! Surchauffe !!"))
            bench.SetTemperature(95);
        else if (phase == QLatin1String("Fin du Processus"))
            ScriptOneCycle(bench);
        else if (phase != QLatin1String("Charge"))
            bench.deltas = {800, 800, 794};
        const bool stop = way == QLatin1String("CBStop");
        QSignalSpy over(&bench.window, stop ? &MesCapa::Stopped : &Window::Returning);
        bench.link.ReconnectOnActivate = 1;
        bench.At(phase, [&] {
            if (way == QLatin1String("close"))
                bench.window.close();
            else
                bench.window.findChild<QPushButton *>(way)->click();
        });
        bench.Start();
        LATER_EQUAL(over.size(), 1);
        QVERIFY(bench.board.Received().endsWith(stop ? stopBytes : backBytes));
        QVERIFY(bench.OutputsOff());
        QCOMPARE(bench.window.isVisible(), stop);
        QCOMPARE(bench.link.ReconnectOnActivate, stop ? 1 : 0);
        // Nothing is left of it.
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.TakeReceived();
        const QString state = bench.Text("LbEtat");
        Simulated().Run(20s); // ten ticks
        // Where an exchange was under way, a look whether all is off.
        const bool waited = phase.contains(QLatin1String("Pause")) || phase == QLatin1String("Probleme V Delta");
        QCOMPARE(bench.board.TakeReceived(), waited ? QByteArray() : readLinesBytes);
        QVERIFY(!bench.SaysUnconfirmed());
        QCOMPARE(bench.Text("LbEtat"), state);
        QVERIFY(BoxTexts().isEmpty());

        // And a new start, in the window opened anew where it was left, begins at the beginning.
        if (!stop) {
            bench.window.Open();
            QCOMPARE(bench.Text("LbEtat"), QString());
            QCOMPARE(bench.Text("LbICTot"), QStringLiteral("C = 0mAh"));
        }
        QCOMPARE(bench.board.Received(), QByteArray());
        bench.Start();
        const QByteArray beginning = (resetBytes + RampBytes()).left(50);
        LATER(bench.board.Received().size() >= beginning.size());
        QCOMPARE(bench.board.Received().left(beginning.size()), beginning);
    }

    void StopAtAnyExchangeLeavesTheOutputsOff()
    {
        // The click comes while the n-th exchange is under way; n goes over a whole measurement in strides.
        CapacityBench bench;
        const QByteArray whole = OneCycleBytes(0, 0);
        int exchanges = 0;
        int stopAt = 0;
        const auto count = [&] {
            if (++exchanges == stopAt)
                bench.Button("CBStop")->click();
        };
        const auto counted = [&](quint8 command, int parameters, const ScriptedBoard::Answer &answer) {
            bench.board.On(command, parameters, [count, answer](const QByteArray &bytes) {
                count();
                return answer(bytes);
            });
        };
        for (const int reg : {19, 20, 21, 22, 24})
            counted(static_cast<quint8>(reg), 1, [](const QByteArray &) { return Bytes({6}); });
        for (const int reg : {15, 16, 17, 18})
            counted(static_cast<quint8>(reg), 1, [&bench, reg](const QByteArray &value) {
                bench.board.lines[reg] = value[0];
                return Bytes({6});
            });
        counted(13, 0, [&](const QByteArray &) {
            return CapacityBench::Reading(bench.volts.isEmpty() ? bench.usualVolts : bench.volts.takeFirst());
        });
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        QSignalSpy ended(&bench.window, &MesCapa::Ended);
        int runs = 0;
        for (stopAt = 1; ended.isEmpty(); stopAt += 13) {
            exchanges = 0;
            ScriptOneCycle(bench);
            bench.board.TakeReceived();
            bench.Start();
            LATER_EQUAL(stopped.size() + ended.size(), runs + 1);
            ++runs;
            const QByteArray bytes = bench.board.TakeReceived();
            QVERIFY(bench.OutputsOff());
            if (!ended.isEmpty())
                break;
            QVERIFY(bytes.endsWith(stopBytes));
            QVERIFY(whole.startsWith(bytes.chopped(stopBytes.size()))); // no byte of the cycle after the stop's
            QVERIFY(bench.Rests());
            QCOMPARE(bench.board.Received(), readLinesBytes);
        }
        QVERIFY2(runs > 8, qPrintable(QString::number(runs)));
    }

    void StopGoesAheadOfASilentExchangeAndHasTheLastWord()
    {
        CapacityBench bench;
        bool silent = false;
        bench.board.On(17, 1, [&](const QByteArray &value) {
            bench.board.lines[17] = value[0];
            return silent && value[0] == 1 ? QByteArray() : Bytes({6});
        });
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Start();
        LATER(measured.size() >= 2);
        silent = true;
        SOON(bench.board.Received().endsWith(Bytes({27, 17, 1})));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(stopped.size(), 1);
        QCOMPARE(bench.board.TakeReceived(), stopBytes);
        QVERIFY(bench.SaysUnconfirmed());
        bench.board.Send(Bytes({6})); // the answer after all
        SOON_EQUAL(bench.board.Received(), readLinesBytes);
        Simulated().Run(20s);
        QCOMPARE(bench.board.Received(), readLinesBytes);
        QVERIFY(bench.OutputsOff() && !bench.SaysUnconfirmed());
    }

    void StopOverASilentReadingIsConfirmed()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Start();
        LATER(measured.size() >= 2);
        bench.board.On(6, 0, [](const QByteArray &) { return QByteArray(); });
        SOON(bench.board.Received().endsWith(Bytes({27, 6})));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(stopped.size(), 1);
        QCOMPARE(bench.board.Received(), stopBytes);
        QVERIFY(bench.SaysUnconfirmed());
        // The reading comes late and behind the answers to the stop: none of them is anybody's. Then the board is read.
        bench.board.Send(CapacityBench::Reading(800));
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(bench.board.Received().endsWith(readLinesBytes));
        QVERIFY(bench.OutputsOff());
        QVERIFY(bench.Rests());
        bench.board.On(6, 0, [](const QByteArray &) { return CapacityBench::Reading(800); });
        const auto before = measured.size();
        bench.Start();
        LATER(measured.size() >= before + 2);
    }

    void StartRightAfterStopWaitsForItsWrites()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        bench.Start();
        const QByteArray expected = stopBytes + resetBytes + RampBytes();
        LATER(bench.board.Received().size() >= expected.size() + 8);
        QVERIFY(bench.board.Received().contains(expected));
    }

    void StartAfterAStopThatTheBoardNeverAnswered()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
        bench.board.SetSilent(true);
        Simulated().Run(100ms); // an exchange of the measurement is under way now, and stays so
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 17, 0}));
        bench.board.SetSilent(false);
        const auto before = measured.size();
        bench.Start();
        LATER(measured.size() > before);
        QByteArray sent = bench.board.Received();
        QVERIFY(sent.startsWith(stopBytes));
        sent.remove(0, stopBytes.size());
        sent.replace(Bytes({27, 31}), ""); // a look that the start has made void
        // The first request of the start may be asked twice, being behind answers of which one was lost.
        QVERIFY(sent.startsWith(resetBytes));
        if (sent.startsWith(resetBytes + resetBytes))
            sent.remove(0, resetBytes.size());
        const QByteArray expected = resetBytes + RampBytes() + QuickSearchBytes() + Bytes({27, 19, 0});
        QCOMPARE(sent.left(expected.size()), expected); // and nothing of the stop comes in between
        QVERIFY(!bench.SaysUnconfirmed());
    }

    void AStopThatWasNotAnsweredIsSaidAgain()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
        bench.board.SetSilent(true);
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        // All of it, though nothing of it is answered.
        SOON_EQUAL(bench.board.Received(), Bytes({27, 17, 0}) + stopBytes);
        QVERIFY(bench.SaysUnconfirmed());
        bench.board.SetSilent(false);
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(bench.OutputsOff());
    }

    void AStopPassesWhoeverKeepsTheLine()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Start();
        LATER(measured.size() >= 2);
        QVERIFY(bench.window.Running());
        bench.board.On(26, 0, [](const QByteArray &) { return QByteArray(); });
        Runner other;
        other.Start([](Codebas *link) -> Task<void> {
            Task<QByteArray> exchange =
                link->Exchange(Request(26), Reply::Framed(1), {}, Exchanges::Overtaking::Refused);
            co_await exchange;
        }(&bench.link));
        SOON(bench.board.Received().endsWith(Bytes({27, 26})));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        QVERIFY(!bench.window.Running());
        SOON_EQUAL(bench.board.Received(), stopBytes);
        QCOMPARE(stopped.size(), 1);
        QVERIFY(bench.SaysUnconfirmed());
        bench.board.Send(Bytes({27, 0, 0}));
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(bench.OutputsOff());
    }

    void TheCloseBoxLeavesAClosedLineAndASilentBoard()
    {
        CapacityBench bench;
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.ClosePort();
        bench.window.close();
        SOON(!bench.window.isVisible());
        QCOMPARE(returning.size(), 1);
        AnswerBoxes();
        bench.link.OpenPort();
        bench.window.Open();
        bench.board.SetSilent(true);
        bench.window.close();
        SOON(bench.board.Received().endsWith(Bytes({27, 17, 0})));
        QVERIFY(bench.window.isVisible());
        bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(returning.size(), 2);
    }

    void AStopOnAClosedLineSaysSo()
    {
        CapacityBench bench;
        bench.ClosePort();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("LbNote"), QStringLiteral("Port fermé : l'arrêt partira à sa réouverture"));
        QCOMPARE(BoxTexts().size(), 1);
    }

    void AByteThatIsLostDoesNotHoldUpTheMeasurement()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
        bool lost = false;
        bench.board.On(6, 0, [&lost](const QByteArray &) {
            return std::exchange(lost, true) ? CapacityBench::Reading(800) : CapacityBench::Reading(800).chopped(2);
        });
        SOON(lost);
        const auto before = measured.size();
        SOON(measured.size() >= before + 2);
        QVERIFY(bench.board.Received().contains(Bytes({27, 6, 27, 6})));
    }

    void StopCancelsAStartThatWaits()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Start();
        LATER(measured.size() >= 2);
        bench.Button("CBStop")->click();
        bench.Start();
        bench.Button("CBStop")->click();
        SOON_EQUAL(stopped.size(), 2);
        Simulated().Run(20s);
        QVERIFY(bench.OutputsOff());
        QVERIFY(!bench.board.Received().endsWith(resetBytes));
        QCOMPARE(bench.board.Received().count(resetBytes), 1);
    }

    void BackVoidsAMoveThatWaits()
    {
        CapacityBench bench;
        bench.board.On(20, 1, [](const QByteArray &) { return QByteArray(); });
        bench.SliderOf("SlIDech")->setValue(5); // holds the line
        SOON_EQUAL(bench.board.Received(), Bytes({27, 20, 5}));
        bench.board.TakeReceived();
        bench.SliderOf("SlIChrg")->setValue(200);
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.Button("CbRetour")->click();
        bench.Start();                            // too late
        bench.SliderOf("SlIChrg")->setValue(201); // this too
        bench.board.On(20, 1, [](const QByteArray &) { return Bytes({6}); });
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(returning.size(), 1);
        Simulated().Run(20s);
        QCOMPARE(bench.board.Received(), backBytes);
    }

    void BackPressedTwiceLeavesASilentBoard()
    {
        CapacityBench bench;
        bench.board.SetSilent(true);
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.Button("CbRetour")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 17, 0}));
        QVERIFY(bench.window.isVisible());
        bench.Button("CbRetour")->click();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(returning.size(), 1);
        bench.board.SetSilent(false);
        bench.board.Send(Bytes({6})); // it is back, and gets the rest
        SOON_EQUAL(bench.board.Received(), backBytes);
        Simulated().Run(20s);
        QCOMPARE(returning.size(), 1);
    }

    void BackLeavesASilentBoardByItself()
    {
        CapacityBench bench;
        bench.StartAndDischarge();
        bench.board.SetSilent(true);
        QSignalSpy returning(&bench.window, &Window::Returning);
        const Stopwatch watch;
        bench.Button("CbRetour")->click();
        SOON_EQUAL(returning.size(), 1);
        QVERIFY(watch.Elapsed() < 1100ms);
        QVERIFY(!bench.window.isVisible());
        QVERIFY(bench.link.outputs.Unconfirmed()); // the main window says so too
        bench.board.SetSilent(false);
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(bench.OutputsOff());
    }

    void BackWithTheLineClosedLeaves()
    {
        CapacityBench bench;
        bench.ClosePort();
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.Button("CbRetour")->click();
        SOON_EQUAL(returning.size(), 1);
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(BoxTexts().size(), 1);
    }

    void StartWithTheLineClosedSaysSo()
    {
        CapacityBench bench;
        bench.ClosePort();
        bench.Start();
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(!bench.SaysUnconfirmed()); // nothing was switched on
        AnswerBoxes();
        bench.link.OpenPort();
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
    }

    void UnpluggedAndCutLinesStartTheExchangeAgain()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
        bench.Reopen(); // as the main window does at its activation
        const auto before = measured.size();
        SOON(measured.size() >= before + 3);
        QVERIFY(BoxTexts().isEmpty());
        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("Charge"));
    }

    // ---- what disturbs a stop

    void StopWithOneAnswerLost_data()
    {
        QTest::addColumn<QString>("phase");
        QTest::addColumn<int>("reg");
        QTest::addColumn<bool>("heard");
        for (const char *phase : {"Preparation Ch/Decharge", "Reglage Delta", "Probleme V Delta", "Charge",
                                  " 60Pause ... ", "Decharge", "Mesure Resistance", "Fin du Processus"})
            for (const int reg : {17, 16, 15, 18, 24})
                for (const bool heard : {true, false})
                    QTest::addRow("%s, %d %s", phase, reg, heard ? "not answered" : "not heard")
                        << QString::fromUtf8(phase) << reg << heard;
    }
    void StopWithOneAnswerLost()
    {
        QFETCH(QString, phase);
        QFETCH(int, reg);
        QFETCH(bool, heard);
        CapacityBench bench;
        if (phase == QLatin1String("Probleme V Delta"))
            bench.usualDelta = 0;
        else if (phase == QLatin1String("Fin du Processus"))
            ScriptOneCycle(bench);
        else if (phase != QLatin1String("Charge"))
            bench.deltas = {800, 800, 794};
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        QSignalSpy ended(&bench.window, &MesCapa::Ended);
        Stopwatch watch;
        int asked = 0;
        bench.At(phase, [&] {
            bench.board.On(static_cast<quint8>(reg), 1, [&](const QByteArray &value) {
                const bool lost = asked++ == 0;
                if (heard || !lost)
                    bench.board.lines[reg] = value[0];
                return lost ? QByteArray() : Bytes({6});
            });
            bench.board.TakeReceived();
            watch.Restart();
            bench.Button("CBStop")->click();
        });
        bench.Start();
        LATER_EQUAL(stopped.size(), 1);
        QVERIFY(watch.Elapsed() < 1100ms);
        QVERIFY(bench.OutputsOff());
        QVERIFY(!bench.window.Running());
        QVERIFY(bench.SaysUnconfirmed());
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(bench.OutputsOff());
        QCOMPARE(bench.board.lines[18], 1);
        QVERIFY(bench.Rests());
        const QByteArray sent = bench.board.Received();
        for (const int line : {15, 16, 17})
            QVERIFY(!sent.contains(Bytes({27, line, 1})));
        Simulated().Run(5min);
        QCOMPARE(bench.board.Received(), sent); // and nothing goes on by itself
        QCOMPARE(ended.size(), 0);
    }

    void StopWhileTheBoardIsDeaf_data()
    {
        QTest::addColumn<bool>("discharge");
        QTest::addColumn<int>("milliseconds"); // from the tick to the stop
        for (const bool discharge : {false, true})
            for (const int milliseconds : {0, 1, 7, 500, 1999, 2000, 2005, 2010})
                QTest::addRow("%s, %d ms", discharge ? "discharge" : "charge", milliseconds)
                    << discharge << milliseconds;
    }
    void StopWhileTheBoardIsDeaf()
    {
        QFETCH(bool, discharge);
        QFETCH(int, milliseconds);
        CapacityBench bench;
        if (discharge)
            bench.StartAndDischarge();
        else
            bench.StartAndCharge();
        Simulated().Run(std::chrono::milliseconds(milliseconds));
        bench.board.TakeReceived();
        bench.board.SetSilent(true);
        bench.Button("CBStop")->click();
        Simulated().Run(1200ms);
        bench.board.SetSilent(false);
        QVERIFY(bench.SaysUnconfirmed());
        const Stopwatch watch;
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(watch.Elapsed() < 3s);
        QVERIFY(bench.OutputsOff());
        QVERIFY(bench.Rests());
        const QByteArray sent = bench.board.Received();
        for (const int line : {15, 16, 17})
            QVERIFY(!sent.contains(Bytes({27, line, 1})));
        Simulated().Run(5min);
        QCOMPARE(bench.board.Received(), sent);
        QCOMPARE(bench.Text("LbNote"), QStringLiteral("Arrêté"));
    }

    void StopOnAClosedPortIsMadeUpForWhenItIsOpen()
    {
        CapacityBench bench;
        bench.StartAndDischarge();
        bench.ClosePort();
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(BoxTexts().size(), 1);
        QVERIFY(!bench.window.Running());
        QVERIFY(bench.SaysUnconfirmed());
        Simulated().Run(5min);
        QVERIFY(bench.board.Received().isEmpty());
        QVERIFY(bench.board.DischargeOn());
        QVERIFY(bench.SaysUnconfirmed());
        bench.link.OpenPort();
        SOON(!bench.SaysUnconfirmed());
        // What is not off is written, and read again.
        QCOMPARE(bench.board.Received(), readLinesBytes + Bytes({27, 16, 0, 27, 18, 1}) + readLinesBytes);
        QVERIFY(bench.OutputsOff());
        Simulated().Run(5min);
        QVERIFY(bench.board.Received().endsWith(Bytes({27, 18, 1}) + readLinesBytes));
        QCOMPARE(BoxTexts().size(), 1);
    }

    void AClosedPortEndsTheMeasurement()
    {
        CapacityBench bench;
        bench.StartAndDischarge();
        QSignalSpy aborted(&bench.window, &MesCapa::Aborted);
        bench.ClosePort();
        bench.board.TakeReceived();
        SOON_EQUAL(aborted.size(), 1); // at the next exchange
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].contains(QStringLiteral("port série est fermé")));
        QVERIFY(bench.SaysUnconfirmed());
        bench.link.OpenPort();
        SOON(!bench.SaysUnconfirmed());
        QCOMPARE(bench.board.Received(), readLinesBytes + Bytes({27, 16, 0, 27, 18, 1}) + readLinesBytes);
        QVERIFY(bench.OutputsOff());
    }

    void StopWhileTheAdapterIsOut_data()
    {
        QTest::addColumn<int>("milliseconds"); // from the loss to the stop
        for (const int milliseconds : {0, 500, 3000})
            QTest::addRow("%d ms", milliseconds) << milliseconds;
    }
    void StopWhileTheAdapterIsOut()
    {
        QFETCH(int, milliseconds);
        CapacityBench bench;
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.StartAndDischarge();
        bench.board.Unplug();
        Simulated().Run(std::chrono::milliseconds(milliseconds));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        Simulated().Run(20s);
        QVERIFY(!bench.window.Running());
        QVERIFY(bench.SaysUnconfirmed());
        QVERIFY(bench.board.DischargeOn());
        bench.board.Plug();
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(bench.OutputsOff());
        QCOMPARE(stopped.size(), 1);
        QCOMPARE(bench.Text("LbNote"), QStringLiteral("Arrêté"));
        QCOMPARE(bench.board.Received(), stopBytes + readLinesBytes);
        Simulated().Run(5min);
        QCOMPARE(bench.board.Received(), stopBytes + readLinesBytes);
        QVERIFY(BoxTexts().isEmpty());
    }

    void TheAdapterGoesInTheMiddleOfAStop()
    {
        CapacityBench bench;
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.StartAndDischarge();
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        bench.board.Unplug();
        Simulated().Run(20s);
        QCOMPARE(bench.board.Received(), Bytes({27, 17, 0}));
        QVERIFY(bench.SaysUnconfirmed());
        QVERIFY(bench.board.DischargeOn());
        bench.board.Plug();
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(bench.OutputsOff());
        QCOMPARE(stopped.size(), 1);
        // Behind a loss the first answer is only a sign of life.
        QCOMPARE(bench.board.Received(), Bytes({27, 17, 0}) + stopBytes + Bytes({27, 31}) + readLinesBytes);
    }

    void AStartDropsTheStopOfALostAdapter()
    {
        CapacityBench bench;
        bench.StartAndDischarge();
        bench.board.Unplug();
        Simulated().Run(3s);
        bench.Button("CBStop")->click();
        bench.Start();
        Simulated().Run(5s);
        bench.board.TakeReceived();
        bench.board.Plug();
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("Charge"));
        const QByteArray expected = resetBytes + RampBytes() + QuickSearchBytes();
        QCOMPARE(bench.board.Received().left(expected.size()), expected);
        QVERIFY(!bench.SaysUnconfirmed());
    }

    void ABoardThatSaysNothingIsAnAlarm_data()
    {
        QTest::addColumn<bool>("unplugged");
        QTest::newRow("silent") << false;
        QTest::newRow("unplugged") << true;
    }
    void ABoardThatSaysNothingIsAnAlarm()
    {
        QFETCH(bool, unplugged);
        CapacityBench bench;
        QSignalSpy wanted(&bench.window, &MesCapa::ConnectionWanted);
        QSignalSpy aborted(&bench.window, &MesCapa::Aborted);
        bench.StartAndDischarge();
        if (unplugged)
            bench.board.Unplug();
        else
            bench.board.SetSilent(true);
        const Stopwatch watch;
        SOON_EQUAL(wanted.size(), 1);
        QVERIFY(watch.Elapsed() >= 15s && watch.Elapsed() <= 17s); // a tick may still come
        QCOMPARE(aborted.size(), 1);
        QVERIFY(!bench.window.Running());
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QCOMPARE(bench.Text("LbNote"), QStringLiteral("Interrompu : la carte ne répond plus"));
        QCOMPARE(BoxTexts(),
                 QStringList{QStringLiteral("La carte n'a rien répondu depuis 15 secondes : la mesure est arrêtée.\n"
                                            "Le programme coupe les sorties dès que la carte répond. "
                                            "En cas de doute, débranchez la batterie.")});
        QVERIFY(bench.SaysUnconfirmed());
        QVERIFY(bench.board.DischargeOn());
        Simulated().Run(5min);
        QVERIFY(bench.SaysUnconfirmed());
        if (unplugged)
            bench.board.Plug();
        else
            bench.board.SetSilent(false);
        SOON(!bench.SaysUnconfirmed());
        QVERIFY(bench.OutputsOff());
        QVERIFY(bench.Rests());
        const QByteArray sent = bench.board.TakeReceived();
        QVERIFY(!sent.endsWith(resetBytes));
        Simulated().Run(5min);
        QVERIFY(bench.board.Received().isEmpty());
        QCOMPARE(wanted.size(), 1);
    }

    void DestroyedInTheMiddleOfAMeasurement()
    {
        for (const char *phase : {"Preparation Ch/Decharge", "Reglage Delta", "Charge", " 100Pause ... "}) {
            CapacityBench bench;
            bench.deltas = {800, 800, 794};
            bool there = false;
            bench.At(QString::fromLatin1(phase), [&] { there = true; });
            bench.Start();
            LATER(there);
        }
    }
};

REGISTER_TEST(TestMesCapaEnds)
#include "tst_mescapa_ends.moc"
