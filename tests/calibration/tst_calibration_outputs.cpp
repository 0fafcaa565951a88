// SPDX-License-Identifier: GPL-3.0-or-later
#include "menubench.h"
#include "monitor/moni.h"
#include "support/suite.h"

#include <QSignalSpy>

namespace {
const QByteArray readLines = Bytes({27, 31, 27, 31}); // whether all is off, asked twice

struct Bench : MenuBench
{
    Bench() { window.Open(); }

    /// Chooses an entry; its window makes no readings.
    void Choose(int entry)
    {
        List()->setCurrentIndex(entry);
        if (auto *timer = WindowOf(entry)->findChild<Timer *>())
            timer->SetEnabled(false);
    }
    /// Chooses an entry whose window lets a current flow, and sees it on.
    void SwitchOn(int entry)
    {
        Choose(entry);
        QCOMPARE(Settled(), entry == Charge ? chargeOpening : dischargeOpening);
        QVERIFY(Flows());
    }
    bool Flows() { return board.ChargeOn() || board.DischargeOn(); }
    bool InDoubt() const { return link.outputs.Unconfirmed(); }

    /// Waits until the board has said that all is off.
    void IsOffInTheEnd()
    {
        SOON(!InDoubt());
        QVERIFY(Rests());
        QVERIFY(!Flows());
    }
};

void AddCurrents()
{
    QTest::addColumn<int>("entry");
    QTest::addColumn<QByteArray>("leaving");
    QTest::newRow("charge") << int(Charge) << chargeLeaving;
    QTest::newRow("discharge") << int(Discharge) << dischargeLeaving;
}
} // namespace

/// What the calibration windows switch: in which order, and that no current is left on.
class TestCalibrationOutputs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- order

    void EachWriteWaitsForItsAnswer()
    {
        Bench bench;
        bench.HoldBack(15, 1);
        bench.Choose(Charge);
        Simulated().Run(Exchanges::patience - 1ms);
        QCOMPARE(bench.board.Received(), chargeOpening.first(3));
        bench.board.Send(Bytes({99})); // whatever it says
        QCOMPARE(bench.Settled(), chargeOpening);
    }

    void ALostAnswerHoldsNothingUp()
    {
        Bench bench;
        bench.SwitchOn(Charge);
        std::vector<Clock::Duration> moments;
        connect(bench.port, &MemoryPort::SentByProgram, this, [&] { moments.push_back(Simulated().Now()); });
        bench.HoldBack(15, 1);
        bench.HoldBack(17, 1);
        bench.Choose(Battery);
        SOON_EQUAL(bench.board.Received(), chargeLeaving + voutOpening);
        for (size_t i = 1; i < moments.size(); ++i)
            QVERIFY(moments[i] - moments[i - 1] >= Exchanges::patience);
        QVERIFY(moments.back() - moments.front() < 6 * Exchanges::patience);
    }

    void WritesWaitForTheLineWithoutOvertakingEachOther()
    {
        Bench bench;
        bench.SwitchOn(Charge);
        bench.HoldBack(12, 0);
        bench.others.Start([](Codebas *link) -> Task<void> {
            Task<QByteArray> exchange =
                link->Exchange(Request(12), Reply::Framed(2), {}, Exchanges::Overtaking::Refused);
            co_await exchange;
        }(&bench.link));
        bench.Choose(Battery);
        Simulated().Run(600ms); // more than the patience of two writes
        QCOMPARE(bench.board.Received(), Bytes({27, 12}));
        bench.board.Send(Bytes({27, 0, 0, 0}));
        QCOMPARE(bench.Settled(), Bytes({27, 12}) + chargeLeaving + voutOpening);
    }

    void WritesKeepTheirOrderWhileThePortIsLost()
    {
        Bench bench;
        bench.HoldBack(17, 1);
        bench.Choose(Battery);
        SOON_EQUAL(bench.board.Received(), voutOpening.first(3));
        bench.board.Unplug();
        Simulated().Run(600ms); // more than the patience of two writes
        bench.Choose(Charge);
        bench.board.Healthy();
        bench.board.Plug();
        QCOMPARE(bench.Settled(), voutOpening.first(3) + voutOpening + chargeOpening);
        QVERIFY(OpenBoxes().isEmpty());
    }

    // ---- a closed port

    void AClosedPortIsSaidOnceAndForgetsTheRest()
    {
        Bench bench;
        bench.ClosePort();
        bench.Choose(Battery);
        SOON_EQUAL(BoxTexts().size(), 1);
        AnswerBoxes();
        bench.link.OpenPort();
        Simulated().Run(10s);
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(bench.board.Received(), QByteArray());
        bench.Choose(Charge);
        QCOMPARE(bench.Settled(), chargeOpening);
    }

    void ACurrentThatIsLeftOnAClosedPortIsOffOnceItIsOpen_data() { AddCurrents(); }
    void ACurrentThatIsLeftOnAClosedPortIsOffOnceItIsOpen()
    {
        QFETCH(int, entry);
        QFETCH(QByteArray, leaving);
        Bench bench;
        bench.SwitchOn(entry);
        bench.ClosePort();
        bench.WindowOf(entry)->close();
        SOON_EQUAL(BoxTexts().size(), 1);
        Simulated().Run(10s);
        QVERIFY(bench.InDoubt());
        QVERIFY(bench.Flows());
        bench.link.OpenPort();
        bench.IsOffInTheEnd();
        QCOMPARE(bench.board.Received(), readLines + leaving + readLines);
    }

    void AFatalErrorOnAClosedPortIsOffOnceItIsOpen()
    {
        Bench bench;
        bench.SwitchOn(Charge);
        bench.ClosePort();
        bench.WindowOf(Charge)->findChild<QPushButton *>(QStringLiteral("Courset"))->click(); // nothing is measured
        SOON_EQUAL(BoxTexts(), QStringList(QStringLiteral("Division par zéro : courant mesuré")));
        QVERIFY(bench.InDoubt());
        bench.link.OpenPort();
        bench.IsOffInTheEnd();
        QCOMPARE(bench.board.Received(), readLines + chargeLeaving + readLines);
    }

    // ---- a deaf board

    void ADeafBoardIsSwitchedOffInTheEnd_data()
    {
        QTest::addColumn<int>("entry");
        QTest::addColumn<int>("milliseconds");
        for (const int milliseconds : {300, 400, 500, 600, 700, 800, 900, 1000}) {
            QTest::addRow("charge %d", milliseconds) << int(Charge) << milliseconds;
            QTest::addRow("discharge %d", milliseconds) << int(Discharge) << milliseconds;
        }
    }
    void ADeafBoardIsSwitchedOffInTheEnd()
    {
        QFETCH(int, entry);
        QFETCH(int, milliseconds);
        Bench bench;
        bench.SwitchOn(entry);
        const QSignalSpy doubt(&bench.link.outputs, &Outputs::UnconfirmedChanged);
        bench.board.SetSilent(true);
        bench.WindowOf(entry)->close();
        Simulated().Run(std::chrono::milliseconds(milliseconds));
        QVERIFY(bench.Flows());
        bench.board.SetSilent(false);
        SOON(!doubt.isEmpty()); // the main window tells of it
        QCOMPARE(doubt.first().first().toBool(), true);
        bench.IsOffInTheEnd();
        QCOMPARE(doubt.last().first().toBool(), false);
    }

    // ---- others take the port while writes are queued

    void TheMainWindowClosesThePort_data()
    {
        QTest::addColumn<bool>("deaf");
        QTest::newRow("in time") << false;
        QTest::newRow("deaf") << true;
    }
    void TheMainWindowClosesThePort()
    {
        QFETCH(bool, deaf);
        Bench bench;
        bench.SwitchOn(Charge);
        bench.board.SetSilent(deaf);
        QByteArray sent;
        connect(&bench.link, &Codebas::PortCut, this, [&] { sent = bench.board.TakeReceived(); });
        bench.WindowOf(Charge)->close();
        bench.Reopen();
        QCOMPARE(sent, chargeLeaving); // before the port was closed
        QCOMPARE(bench.InDoubt(), deaf);
        bench.board.SetSilent(false);
        bench.IsOffInTheEnd();
    }

    void TheMonitorTakesTheLine_data() { TheMainWindowClosesThePort_data(); }
    void TheMonitorTakesTheLine()
    {
        QFETCH(bool, deaf);
        Bench bench;
        Kept<Moni> monitor(bench.link);
        bench.SwitchOn(Charge);
        bench.board.SetSilent(deaf);
        bench.WindowOf(Charge)->close();
        monitor.Open();
        SOON(bench.link.Streaming);
        const QByteArray sent = bench.board.TakeReceived();
        if (deaf) { // told again for some seconds before that
            QVERIFY(sent.startsWith(chargeLeaving));
            QVERIFY(sent.mid(chargeLeaving.size(), sent.indexOf(Bytes({27, 3}))).contains(chargeLeaving));
            QVERIFY(sent.contains(Bytes({27, 3})));
        } else {
            QCOMPARE(sent, chargeLeaving + Bytes({27, 3}));
        }
        Simulated().Run(10s);
        QCOMPARE(bench.board.Received(), QByteArray()); // a board that streams does not hear
        QCOMPARE(bench.InDoubt(), deaf);
        bench.board.SetSilent(false);
        monitor.close();
        bench.link.SessionBegun();
        bench.IsOffInTheEnd();
    }
};

REGISTER_TEST(TestCalibrationOutputs)
#include "tst_calibration_outputs.moc"
