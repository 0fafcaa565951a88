#include "capacitybench.h"
#include "support/coroutines.h"
#include "support/suite.h"

/// How a measurement is started, stopped and left.
class TestMesCapaEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Timer::SetScale(1000); } // a tick every 2 ms
    void cleanup() { Timer::SetScale(1); }

    void StartIsIgnoredWhileAMeasurementRuns()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        bench.Start();
        SOON(measured.size() >= 1);
        bench.Start();
        SOON(measured.size() >= 3);
        bench.Start();
        SOON(measured.size() >= 5);
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
        QVERIFY(CapacityBench::BoxTexts().isEmpty());
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
        SOON_EQUAL(over.size(), 1);
        QVERIFY(bench.board.Received().endsWith(stop ? stopBytes : backBytes));
        QVERIFY(bench.OutputsOff());
        QCOMPARE(bench.window.isVisible(), stop);
        QCOMPARE(bench.link.ReconnectOnActivate, stop ? 1 : 0);
        // Nothing is left of it.
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.TakeReceived();
        const QString state = bench.Text("LbEtat");
        QTest::qWait(20); // ten ticks
        QCOMPARE(bench.board.Received(), QByteArray());
        QCOMPARE(bench.Text("LbEtat"), state);
        QVERIFY(CapacityBench::BoxTexts().isEmpty());

        // And a new start, in the window opened anew where it was left, begins at the beginning.
        if (!stop) {
            bench.window.Open();
            QCOMPARE(bench.Text("LbEtat"), QString());
            QCOMPARE(bench.Text("LbICTot"), QStringLiteral("C = 0mAh"));
        }
        QCOMPARE(bench.board.Received(), QByteArray());
        bench.Start();
        const QByteArray beginning = (resetBytes + RampBytes()).left(50);
        SOON(bench.board.Received().size() >= beginning.size());
        QCOMPARE(bench.board.Received().left(beginning.size()), beginning);
    }

    void StopAtAnyExchangeLeavesTheOutputsOff()
    {
        // The click comes while the n-th exchange is under way; n goes over a whole measurement in strides.
        CapacityBench bench;
        Timer::SetScale(100000);
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
                bench.outputs[reg] = value[0];
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
            SOON_EQUAL(stopped.size() + ended.size(), runs + 1);
            ++runs;
            const QByteArray bytes = bench.board.Received();
            QVERIFY(bench.OutputsOff());
            if (!ended.isEmpty())
                break;
            QVERIFY(bytes.endsWith(stopBytes));
            QVERIFY(whole.startsWith(bytes.chopped(stopBytes.size()))); // no byte of the cycle after the stop's
        }
        QVERIFY2(runs > 8, qPrintable(QString::number(runs)));
    }

    void StopGoesAheadOfASilentExchangeAndHasTheLastWord()
    {
        CapacityBench bench;
        bench.link.line.SetPatience(Line::usualPatience);
        bool silent = false;
        bench.board.On(17, 1, [&](const QByteArray &value) {
            bench.outputs[17] = value[0];
            return silent && value[0] == 1 ? QByteArray() : Bytes({6});
        });
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Start();
        SOON(measured.size() >= 2);
        silent = true;
        SOON(bench.board.Received().endsWith(Bytes({27, 17, 1})));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(stopped.size(), 1);
        QCOMPARE(bench.board.TakeReceived(), stopBytes);
        bench.board.Send(Bytes({6})); // the answer after all
        SOON_EQUAL(bench.board.Received(), offBytes);
        QTest::qWait(20);
        QCOMPARE(bench.board.Received(), offBytes);
    }

    void StopOverASilentReadingNeedsNoRepetition()
    {
        CapacityBench bench;
        bench.link.line.SetPatience(Line::usualPatience);
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Start();
        SOON(measured.size() >= 2);
        bench.board.On(6, 0, [](const QByteArray &) { return QByteArray(); });
        SOON(bench.board.Received().endsWith(Bytes({27, 6})));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(stopped.size(), 1);
        bench.board.Send(CapacityBench::Reading(800));
        QTest::qWait(20);
        QCOMPARE(bench.board.TakeReceived(), stopBytes);
        bench.board.On(6, 0, [](const QByteArray &) { return CapacityBench::Reading(800); });
        const auto before = measured.size();
        bench.Start();
        SOON(measured.size() >= before + 2);
    }

    void StartRightAfterStopWaitsForItsWrites()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        SOON(measured.size() >= 2);
        bench.board.Pull();
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        bench.Start();
        const QByteArray expected = stopBytes + resetBytes + RampBytes();
        SOON(bench.board.Received().size() >= expected.size() + 8);
        QVERIFY(bench.board.Received().contains(expected));
    }

    void StartAfterAStopThatTheBoardNeverAnswered()
    {
        CapacityBench bench;
        bench.link.line.SetPatience(1000); // the start comes before the stop is said again
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        SOON(measured.size() >= 2);
        bench.board.SetSilent(true);
        QTest::qWait(50); // an exchange of the measurement is under way now, and stays so
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 17, 0}));
        bench.board.SetSilent(false);
        bench.board.TakeReceived();
        bench.Start();
        const QByteArray expected = resetBytes + RampBytes() + QuickSearchBytes();
        SOON(bench.board.Received().size() >= expected.size());
        QCOMPARE(bench.board.Received().left(expected.size()), expected); // what the stop had left to send is void
    }

    void AStopThatWasNotAnsweredIsSaidAgain()
    {
        CapacityBench bench;
        bench.link.line.SetPatience(20);
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        SOON(measured.size() >= 2);
        bench.board.SetSilent(true);
        bench.board.Pull();
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON(bench.board.Received().endsWith(stopBytes)); // all of it, though nothing of it is answered
        QVERIFY(bench.board.Received().contains(Bytes({27, 17, 0}) + stopBytes));
    }

    void AStopPassesWhoeverKeepsTheLine()
    {
        CapacityBench bench;
        bench.link.line.SetPatience(20);
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy stopped(&bench.window, &MesCapa::Stopped);
        bench.Start();
        SOON(measured.size() >= 2);
        QVERIFY(bench.window.Running());
        bench.board.On(26, 0, [](const QByteArray &) { return QByteArray(); });
        Runner other;
        other.Start([](Codebas *link) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(Request(26), Reply::Framed(1), {}, Line::Overtaking::Refused);
            co_await exchange;
        }(&bench.link));
        SOON(bench.board.Received().endsWith(Bytes({27, 26})));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        QVERIFY(!bench.window.Running());
        SOON_EQUAL(bench.board.Received(), stopBytes);
        QCOMPARE(stopped.size(), 0);
        bench.board.Send(Bytes({27, 0, 0}));
        SOON_EQUAL(stopped.size(), 1);
        QVERIFY(bench.board.Received().endsWith(stopBytes));
    }

    void TheCloseBoxLeavesAClosedLineAndASilentBoard()
    {
        CapacityBench bench;
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.link.ClosePort();
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
        bench.link.ClosePort();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("LbNote"), QStringLiteral("Arrêt impossible : port fermé"));
        AnswerBoxes();
    }

    void AByteThatIsLostDoesNotHoldUpTheMeasurement()
    {
        CapacityBench bench;
        bench.link.line.SetPatience(5);
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        SOON(measured.size() >= 2);
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
        SOON(measured.size() >= 2);
        bench.Button("CBStop")->click();
        bench.Start();
        bench.Button("CBStop")->click();
        SOON_EQUAL(stopped.size(), 2);
        QTest::qWait(20);
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
        QTest::qWait(20);
        QCOMPARE(bench.board.Received(), backBytes);
    }

    void BackPressedTwiceLeavesASilentBoard()
    {
        CapacityBench bench;
        bench.link.line.SetPatience(Line::usualPatience);
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
        QTest::qWait(20);
        QCOMPARE(returning.size(), 1);
    }

    void BackWithTheLineClosedLeaves()
    {
        CapacityBench bench;
        bench.link.ClosePort();
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.Button("CbRetour")->click();
        SOON_EQUAL(returning.size(), 1);
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(CapacityBench::BoxTexts().size(), 1);
    }

    void StartWithTheLineClosedSaysSo()
    {
        CapacityBench bench;
        bench.link.ClosePort();
        bench.Start();
        QCOMPARE(CapacityBench::BoxTexts().size(), 1);
        AnswerBoxes();
        bench.link.OpenPort();
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        SOON(measured.size() >= 2);
    }

    void UnpluggedAndCutLinesStartTheExchangeAgain()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        SOON(measured.size() >= 2);
        bench.link.ClosePort(); // as the main window does at its activation
        bench.link.OpenPort();
        const auto before = measured.size();
        SOON(measured.size() >= before + 3);
        QVERIFY(CapacityBench::BoxTexts().isEmpty());
        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("Charge"));
    }

    void DestroyedInTheMiddleOfAMeasurement()
    {
        for (const char *phase : {"Preparation Ch/Decharge", "Reglage Delta", "Charge", " 100Pause ... "}) {
            CapacityBench bench;
            bench.deltas = {800, 800, 794};
            bool there = false;
            bench.At(QString::fromLatin1(phase), [&] { there = true; });
            bench.Start();
            SOON(there);
        }
    }
};

REGISTER_TEST(TestMesCapaEnds)
#include "tst_mescapa_ends.moc"
