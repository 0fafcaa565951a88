// SPDX-License-Identifier: GPL-3.0-or-later
#include "asking.h"
#include "support/suite.h"

#include <QSignalSpy>
#include <QtTest>

namespace {
using Writes = Outputs::Writes;
using RunPtr = Outputs::RunPtr;

// The switch lines, and a setting.
constexpr quint8 charge = 15;
constexpr quint8 discharge = 16;
constexpr quint8 power = 17;
constexpr quint8 ground = 18;
constexpr quint8 setting = 20;

const QByteArray readLines = Bytes({27, 31});

QByteArray BytesOf(const Writes &writes)
{
    QByteArray bytes;
    for (const Outputs::Write &write : writes)
        bytes += Request(write.reg, write.value);
    return bytes;
}

Task<void> Switch(Outputs *outputs, RunPtr run, quint8 reg, quint8 value)
{
    Task<void> sending = outputs->Send(run, reg, value);
    co_await sending;
}

Task<void> EndRun(Outputs *outputs, RunPtr run, Writes writes, bool *told)
{
    Task<void> ending = outputs->End(run, writes);
    co_await ending;
    *told = true;
}

/// Keeps the line, one exchange after the other.
Task<void> KeepAsking(Codebas *link)
{
    for (;;) {
        Task<QByteArray> exchange = link->Exchange(Request(13), Reply::Framed(2));
        co_await exchange;
    }
}

Task<void> Settle(Outputs *outputs, bool *settled)
{
    Task<void> settling = outputs->Settled();
    co_await settling;
    *settled = true;
}

/// A connected healthy board and a charge on it.
struct Bench : LinkFixture
{
    Bench()
    {
        board.Healthy();
        link.OpenPort();
        QObject::connect(&outputs, &Outputs::UnconfirmedChanged, &com,
                         [this](bool unconfirmed) { changes.append(unconfirmed); });
    }

    /// Switches the charge on.
    void Charge()
    {
        runner.Start(Switch(&outputs, run, power, 1));
        SOON(runner.Idle());
        runner.Start(Switch(&outputs, run, charge, 1));
        SOON(runner.Idle());
        QVERIFY(board.ChargeOn());
        QVERIFY(run->on);
        board.TakeReceived();
    }
    /// Ends it, as its window does.
    void End() { runner.Start(EndRun(&outputs, run, off, &told)); }
    void Settle() { runner.Start(::Settle(&outputs, &settled)); }

    /// The board is off, the program knows it, and says nothing more.
    bool Quiet()
    {
        board.TakeReceived();
        Simulated().Run(1h);
        return board.TakeReceived().isEmpty() && !board.ChargeOn() && !board.DischargeOn() && !outputs.Unconfirmed() &&
               !run->on && link.line.Idle() && runner.ThrewNothing();
    }
    QByteArray Sent() { return board.TakeReceived(); }

    Outputs &outputs = link.outputs;
    const Writes off{{charge, 0}, {power, 0}};
    RunPtr run = outputs.Begin(off);
    bool told = false;
    bool settled = false;
    QList<bool> changes; ///< of what is unconfirmed
};
} // namespace

class TestOutputs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- ends that nothing disturbs

    void AnUndisturbedEndSendsOnlyItsWrites()
    {
        Bench b;
        b.Charge();
        QVERIFY(!b.run->over);
        b.End();
        QVERIFY(b.run->over);
        SOON(b.told);
        QCOMPARE(b.Sent(), BytesOf(b.off));
        QVERIFY(!b.run->on);
        QVERIFY(b.Quiet());
        QCOMPARE(b.changes, QList<bool>());
    }

    void EachWriteOfAnEndWaitsForItsAcknowledgement()
    {
        Bench b;
        b.Charge();
        b.board.SetDelay(100ms);
        b.End();
        QCOMPARE(b.Sent(), Request(charge, 0));
        Simulated().Run(99ms);
        QCOMPARE(b.Sent(), QByteArray());
        Simulated().Run(1ms);
        QCOMPARE(b.Sent(), Request(power, 0));
        QVERIFY(!b.told);
        SOON(b.told);
        QVERIFY(b.Quiet());
    }

    void AnEndMayHaveOtherWritesThanWhatMakesItOff()
    {
        Bench b;
        b.Charge();
        const Writes writes{{power, 0}, {charge, 0}, {ground, 1}};
        b.runner.Start(EndRun(&b.outputs, b.run, writes, &b.told));
        SOON(b.told);
        QCOMPARE(b.Sent(), BytesOf(writes));
        QVERIFY(b.Quiet());
    }

    void AnEndAtOnceWaitsForNothing()
    {
        Bench b;
        b.Charge();
        b.outputs.EndNow(b.run, b.off);
        QCOMPARE(b.Sent(), BytesOf(b.off)); // before any event runs
        QVERIFY(b.run->over);
        QVERIFY(!b.board.ChargeOn());
        SOON(b.link.line.Idle());
        QVERIFY(b.Quiet());
        QCOMPARE(b.changes, QList<bool>());
    }

    void AnEndAtOnceGoesIntoTheMiddleOfAnExchange()
    {
        Bench b;
        b.Charge();
        Result reader;
        b.board.On(13, 0, [](const QByteArray &) { return QByteArray(); });
        b.runner.Start(Ask(&b.link, Request(13), Reply::Framed(2), &reader));
        Simulated().Run(1ms);
        b.outputs.EndNow(b.run, b.off);
        QCOMPARE(b.Sent(), Request(13) + BytesOf(b.off));
        QVERIFY(!b.board.ChargeOn());
        b.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 2, 10, 0}); });
        SOON(b.runner.Idle());
        QCOMPARE(reader.reply, Bytes({2, 10, 0})); // not the acknowledgements
        SOON(!b.outputs.Unconfirmed());
        QCOMPARE(b.Sent().count(readLines), 3); // it was disturbed, and was read back, behind a sign of life
        QVERIFY(b.Quiet());
    }

    // ---- ends that are disturbed

    void ALostAcknowledgement_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<bool>("heard");
        for (const int which : {1, 2}) {
            QTest::addRow("of write %d", which) << which << true;
            QTest::addRow("of write %d, which was not heard either", which) << which << false;
        }
    }
    void ALostAcknowledgement()
    {
        QFETCH(int, which);
        QFETCH(bool, heard);
        Bench b;
        b.Charge();
        int writes = 0;
        for (const quint8 reg : {charge, power})
            b.board.On(reg, 1, [&, reg](const QByteArray &value) {
                const bool lost = ++writes == which;
                if (!lost || heard)
                    b.board.lines[reg] = value[0];
                return lost ? QByteArray() : Bytes({6});
            });
        const Stopwatch watch;
        b.End();
        SOON(b.told);
        QVERIFY2(watch.Elapsed() <= 1100ms, qPrintable(QString::number(watch.Elapsed() / 1ms)));
        QVERIFY(!b.board.ChargeOn()); // all of it was sent once more
        QVERIFY(b.outputs.Unconfirmed());
        SOON(!b.outputs.Unconfirmed());
        QVERIFY2(watch.Elapsed() <= 4s, qPrintable(QString::number(watch.Elapsed() / 1ms)));
        QVERIFY(b.Sent().endsWith(readLines + readLines)); // it was read, twice
        QCOMPARE(b.changes.first(), true);
        QCOMPARE(b.changes.last(), false);
        QVERIFY(b.Quiet());
    }

    void ADeafBoardIsToldUntilItIsOff_data()
    {
        QTest::addColumn<int>("deaf");
        QTest::addColumn<bool>("busy");
        for (const int deaf : {300, 1000, 1200, 3000, 20000, 600000}) {
            QTest::addRow("for %d ms", deaf) << deaf << false;
            QTest::addRow("for %d ms, in the middle of a reading", deaf) << deaf << true;
        }
    }
    void ADeafBoardIsToldUntilItIsOff()
    {
        QFETCH(int, deaf);
        QFETCH(bool, busy);
        Bench b;
        b.Charge();
        Result reader;
        b.board.SetSilent(true);
        if (busy)
            b.runner.Start(Ask(&b.link, Request(13), Reply::Framed(2), &reader));
        b.End();
        const Stopwatch watch;
        Simulated().Run(std::min(1100, deaf) * 1ms);
        if (deaf > 1100)
            QVERIFY(b.told); // whatever waits for it goes on
        Simulated().Run(std::max(0, deaf - 1100) * 1ms);
        QVERIFY(b.board.ChargeOn());
        b.board.SetSilent(false);
        const auto heardAgain = watch.Elapsed();
        SOON(!b.board.ChargeOn());
        const auto off = watch.Elapsed() - heardAgain;
        QVERIFY2(off <= (deaf < 10000 ? 1200ms : 5200ms), qPrintable(QString::number(off / 1ms)));
        SOON(b.told && !b.outputs.Unconfirmed());
        QVERIFY2(watch.Elapsed() - heardAgain <= 8s, qPrintable(QString::number((watch.Elapsed() - heardAgain) / 1ms)));
        QCOMPARE(b.changes.first(), true);
        QCOMPARE(b.changes.last(), false);
        SOON(b.runner.Idle()); // the reader is served, too
        QCOMPARE(reader.reply, busy ? Bytes({0, 0, 0}) : QByteArray());
        SOON(b.link.line.Idle());
        QVERIFY(b.Quiet());
    }

    void AReaderThatTakesTheLineInTheMiddleOfAnEndDoesNotHoldItUp()
    {
        Bench b;
        b.Charge();
        b.End();
        QCOMPARE(b.Sent(), BytesOf({b.off[0]}));
        b.runner.Start(KeepAsking(&b.link)); // a younger one, as the editor of the memories
        Simulated().Run(320ms);
        QVERIFY(b.told);
        QVERIFY(!b.board.ChargeOn());
        b.runner.Drop();
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(b.Quiet());
    }

    void ALineKeptByAnUndisturbedExchangeIsWrittenIntoAllTheSame()
    {
        Bench b;
        b.Charge();
        Result undisturbed;
        b.board.On(13, 0, [](const QByteArray &) { return QByteArray(); });
        b.runner.Start(AskUndisturbed(&b.link, Request(13), Reply::Framed(2), &undisturbed));
        b.Sent();
        b.End();
        Simulated().Run(270ms);
        QCOMPARE(b.Sent(), QByteArray());
        Simulated().Run(30ms);
        QCOMPARE(b.Sent(), BytesOf(b.off));
        QVERIFY(b.told);
        QVERIFY(!b.board.ChargeOn());
        QVERIFY(b.outputs.Unconfirmed());
        // The board is not silent: its answer was lost. Somebody asks again in the end.
        b.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 2, 10, 0}); });
        b.link.line.AskAgain();
        SOON(b.runner.Idle());
        QCOMPARE(undisturbed.reply, Bytes({2, 10, 0}));
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(b.Quiet());
    }

    void AnEndDoesNotWaitUntilAnswersThatMayBeLateAreHeardOut()
    {
        Bench b;
        b.Charge();
        b.link.line.LeaveDoubt();
        Simulated().Run(2s);
        b.End();
        Simulated().Run(100ms); // the first acknowledgement is a sign of life, and a second is drained
        QVERIFY(b.told);
        QVERIFY(!b.board.ChargeOn());
        QCOMPARE(b.Sent(), BytesOf(b.off));
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(b.Quiet());
    }

    void ABoardThatAcknowledgesAndDoesNotDoIt()
    {
        Bench b;
        b.Charge();
        int writes = 0;
        b.board.On(charge, 1, [&](const QByteArray &value) {
            ++writes;
            if (writes == 1)
                return QByteArray(); // a disturbance, without which it is believed
            if (writes >= 6)
                b.board.lines[charge] = value[0];
            return Bytes({6});
        });
        b.End();
        SOON(writes >= 5);
        QVERIFY(b.board.ChargeOn());
        QVERIFY(b.outputs.Unconfirmed());
        QVERIFY(b.run->on);
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.board.ChargeOn());
        QVERIFY(b.Quiet());
    }

    void ABoardThatNeverDoesItIsToldOnceASecond()
    {
        Bench b;
        b.Charge();
        int writes = 0;
        b.board.On(charge, 1, [&](const QByteArray &) {
            ++writes;
            return writes == 1 ? QByteArray() : Bytes({6});
        });
        b.End();
        Simulated().Run(5s);
        const int before = writes;
        Simulated().Run(60s);
        QVERIFY2(writes - before >= 50 && writes - before <= 61, qPrintable(QString::number(writes - before)));
        QVERIFY(b.outputs.Unconfirmed());
        QCOMPARE(b.changes.count(false), 0);
    }

    void AByteThatPassesForAnAcknowledgementDoesNotDeceive_data()
    {
        QTest::addColumn<int>("deaf");
        QTest::addColumn<int>("noise");
        for (const int deaf : {600, 1200, 3000})
            for (const int noise : {0, 100, 290, 500, 590})
                QTest::addRow("deaf for %d ms, noise after %d ms", deaf, noise) << deaf << noise;
    }
    void AByteThatPassesForAnAcknowledgementDoesNotDeceive()
    {
        QFETCH(int, deaf);
        QFETCH(int, noise);
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.End();
        Simulated().Run(noise * 1ms);
        b.board.Send(Bytes({6})); // the board heard nothing at all
        Simulated().Run((deaf - noise) * 1ms);
        QVERIFY(b.board.ChargeOn());
        b.board.SetSilent(false);
        SOON(!b.board.ChargeOn());
        SOON(b.told && !b.outputs.Unconfirmed());
        QVERIFY(b.Quiet());
    }

    void ANoisyAnswerToTheReadingDoesNotDeceive_data()
    {
        QTest::addColumn<QByteArray>("first");
        QTest::newRow("changed to all off") << Bytes({27, 7, 0});
        QTest::newRow("an added byte before its data") << Bytes({27, 7, 5, 0});
        QTest::newRow("a lost byte") << Bytes({27, 7});
    }
    void ANoisyAnswerToTheReadingDoesNotDeceive()
    {
        QFETCH(QByteArray, first);
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.End();
        Simulated().Run(1500ms);
        QVERIFY(b.told);
        // It hears now, but its charge line is stuck for a while, and the first reading says otherwise.
        int readings = 0;
        b.board.On(charge, 1, [&](const QByteArray &value) {
            if (readings >= 3)
                b.board.lines[charge] = value[0];
            return Bytes({6});
        });
        b.board.On(31, 0, [&](const QByteArray &) {
            return ++readings == 1 ? first
                                   : Bytes({27,
                                            (b.board.lines[discharge] ? 0 : 1) | (b.board.lines[charge] ? 0 : 2) |
                                                (b.board.lines[power] ? 0 : 4),
                                            0});
        });
        b.board.SetSilent(false);
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.board.ChargeOn());
        QVERIFY(readings >= 3);
        QVERIFY(b.Quiet());
    }

    // ---- ports that close or are lost

    void AnEndOnAClosedPortStaysWanted()
    {
        Bench b;
        b.Charge();
        b.ClosePort();
        b.End();
        SOON(b.runner.Idle());
        QVERIFY(b.runner.Threw<PortClosed>()); // which the window shows
        QVERIFY(!b.told);
        QVERIFY(b.outputs.Unconfirmed());
        Simulated().Run(1h);
        QCOMPARE(b.Sent(), QByteArray());
        QVERIFY(b.board.ChargeOn());
        b.link.OpenPort();
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.board.ChargeOn());
        QCOMPARE(b.Sent(), readLines + readLines + BytesOf(b.off) + readLines + readLines);
        QVERIFY(b.Quiet());
    }

    void AnEndOnAClosedPortThatWasOffAllTheTimeIsOnlyReadBack()
    {
        Bench b;
        b.Charge();
        b.ClosePort();
        b.End();
        SOON(b.runner.Idle());
        QVERIFY(b.runner.Threw<PortClosed>());
        b.board.lines.clear(); // the board was switched off and on
        b.link.OpenPort();
        SOON(!b.outputs.Unconfirmed());
        QCOMPARE(b.Sent(), readLines + readLines);
        QVERIFY(b.Quiet());
    }

    void AnEndThatTheClosingCutsIsSentBeforeIt()
    {
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.End();
        Simulated().Run(10ms);
        const Stopwatch watch;
        b.Reopen();
        QVERIFY2(watch.Elapsed() <= 310ms, qPrintable(QString::number(watch.Elapsed() / 1ms)));
        QCOMPARE(b.Sent(), BytesOf(b.off));
        QVERIFY(b.told);
        QVERIFY(b.outputs.Unconfirmed());
        b.board.SetSilent(false);
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.board.ChargeOn());
        QVERIFY(b.Quiet());
    }

    void AnEndOnALostPortIsSentWhenItIsBack_data()
    {
        QTest::addColumn<bool>("underWay");
        QTest::newRow("ended while it was gone") << false;
        QTest::newRow("lost in the middle of the end") << true;
    }
    void AnEndOnALostPortIsSentWhenItIsBack()
    {
        QFETCH(bool, underWay);
        Bench b;
        b.Charge();
        if (underWay) {
            b.board.SetSilent(true);
            b.End();
        }
        Simulated().Run(50ms);
        b.board.Unplug();
        SOON(b.com.Lost());
        b.Sent();
        b.board.SetSilent(false);
        if (!underWay)
            b.End();
        Simulated().Run(1h);
        QCOMPARE(b.Sent(), QByteArray());
        QVERIFY(!b.told); // it is waited for
        QVERIFY(b.board.ChargeOn());
        b.board.Plug();
        SOON(b.told);
        QVERIFY(!b.board.ChargeOn());
        QVERIFY(b.Sent().startsWith(BytesOf(b.off)));
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(b.Quiet());
    }

    void ABoardThatForgotWhileThePortWasLostIsReadBack()
    {
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.End();
        Simulated().Run(1100ms);
        QVERIFY(b.told);
        b.board.Unplug();
        SOON(b.com.Lost());
        QVERIFY(b.outputs.Unconfirmed());
        Simulated().Run(1h);
        QVERIFY(b.outputs.Unconfirmed());
        b.board.SetSilent(false);
        b.board.Plug();
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.board.ChargeOn());
        QVERIFY(b.Quiet());
    }

    void WhileTheLineIsHeldOrStreamsNothingIsRead()
    {
        Bench b;
        b.Charge();
        b.ClosePort();
        b.outputs.EndNow(b.run, b.off);
        QVERIFY(b.outputs.Unconfirmed());
        b.link.Streaming = true;
        b.link.OpenPort();
        Simulated().Run(1h);
        QCOMPARE(b.Sent(), QByteArray());
        QVERIFY(b.outputs.Unconfirmed());
        b.link.Streaming = false;
        b.Reopen(); // as the monitor does
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(b.Quiet());
    }

    // ---- what is sent after an end

    void AWriteThatWouldUndoAnEndIsNotSentAndOthersAre()
    {
        Bench b;
        b.Charge();
        b.board.On(13, 0, [](const QByteArray &) { return QByteArray(); });
        Result reader;
        b.runner.Start(Ask(&b.link, Request(13), Reply::Framed(2), &reader));
        Runner step; // whose writes wait for the line
        step.Start(Switch(&b.outputs, b.run, setting, 60));
        step.Start(Switch(&b.outputs, b.run, charge, 1));
        step.Start(Switch(&b.outputs, b.run, power, 0)); // what the end says, too
        b.End();
        Simulated().Run(1ms);
        b.board.Send(Bytes({27, 2, 10, 0}));
        SOON(b.told && step.Idle());
        QCOMPARE(b.Sent(), Request(13) + BytesOf(b.off) + Request(power, 0) + Request(setting, 60));
        QVERIFY(step.ThrewNothing()); // the step goes on, and sees that it is over
        QVERIFY(b.Quiet());
    }

    void AWriteThatWasUnderWayIsUndoneByTheEnd()
    {
        Bench b;
        b.board.SetDelay(100ms);
        b.runner.Start(Switch(&b.outputs, b.run, power, 1));
        b.End();
        SOON(b.told);
        QCOMPARE(b.Sent(), Request(power, 1) + BytesOf(b.off));
        QVERIFY(b.Quiet());
    }

    void AWriteThatWasVoidedAndContradictsTheEndIsNotAskedAgain()
    {
        Bench b;
        b.board.SetSilent(true);
        b.runner.Start(Switch(&b.outputs, b.run, charge, 1));
        b.End();
        Simulated().Run(300ms);
        QVERIFY(b.board.Received().startsWith(Request(charge, 1) + Request(charge, 0)));
        b.Sent();
        b.board.SetSilent(false);
        SOON(b.runner.Idle());
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.Sent().contains(Request(charge, 1)));
        QVERIFY(b.Quiet());
    }

    void WhatIsNotWantedWhenItsTurnComesIsNotSent()
    {
        Bench b;
        const auto sendIf = [](Outputs *outputs, RunPtr run, std::function<bool()> wanted) -> Task<void> {
            Task<void> sending = outputs->Send(run, charge, 1, wanted);
            co_await sending;
        };
        const std::function<bool()> never = [] { return false; };
        b.runner.Start(sendIf(&b.outputs, b.run, never));
        SOON(b.runner.Idle());
        QCOMPARE(b.Sent(), QByteArray());
        QVERIFY(!b.run->on);
    }

    void AStepThatWasInterruptedIsReadBack()
    {
        Bench b;
        b.Charge();
        b.outputs.StepOver(b.run); // of a run that goes on: nothing happens
        Simulated().Run(10s);
        QCOMPARE(b.Sent(), QByteArray());
        b.End();
        SOON(b.told);
        b.Sent();
        b.board.lines[power] = 1; // the step left this behind
        b.outputs.StepOver(b.run);
        QVERIFY(b.outputs.Unconfirmed());
        SOON(!b.outputs.Unconfirmed());
        QCOMPARE(b.Sent(), readLines + readLines + Request(power, 0) + readLines + readLines);
        QVERIFY(b.Quiet());
    }

    // ---- runs that follow each other, and the user's hand

    void ARunThatTakesThePlaceOfAnotherHasTheLastWord()
    {
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.End();
        Simulated().Run(1100ms);
        QVERIFY(b.outputs.Unconfirmed());
        const RunPtr next = b.outputs.Begin({{discharge, 0}, {power, 0}}, b.run);
        QVERIFY(!b.outputs.Unconfirmed());
        QVERIFY(b.run->superseded);
        QVERIFY(next->on); // with all that the other has left on
        QVERIFY(!next->over);
        b.board.SetSilent(false);
        SOON(b.link.line.Idle());
        b.Sent();
        Simulated().Run(1h);
        QCOMPARE(b.Sent(), QByteArray()); // nothing at all is sent for the former one
        b.runner.Start(Switch(&b.outputs, b.run, setting, 60));
        SOON(b.runner.Idle());
        QCOMPARE(b.Sent(), QByteArray());
        b.outputs.EndNow(b.run, b.off);
        b.outputs.StepOver(b.run);
        Simulated().Run(10s);
        QCOMPARE(b.Sent(), QByteArray());
    }

    void AnEndThatStillWaitsIsCalledOffByTheNextRun()
    {
        Bench b;
        b.Charge();
        b.board.On(13, 0, [](const QByteArray &) { return QByteArray(); });
        Result reader;
        b.runner.Start(Ask(&b.link, Request(13), Reply::Framed(2), &reader));
        b.End();
        b.Sent();
        const RunPtr next = b.outputs.Begin(b.off, b.run);
        QVERIFY(next->on);
        b.board.Send(Bytes({27, 2, 10, 0}));
        SOON(b.told);
        Simulated().Run(10s);
        QCOMPARE(b.Sent(), QByteArray());
        QVERIFY(!b.outputs.Unconfirmed());
    }

    void ARunAfterOneThatIsOffStartsWithNothingOn()
    {
        Bench b;
        b.Charge();
        b.End();
        SOON(b.told);
        const RunPtr next = b.outputs.Begin(b.off, b.run);
        QVERIFY(!next->on);
    }

    void WhatTheUserSwitchesByHandIsNotSwitchedBack()
    {
        Bench b;
        b.Charge();
        b.ClosePort();
        b.outputs.EndNow(b.run, b.off);
        QVERIFY(b.outputs.Unconfirmed());
        b.outputs.Told(charge, 1);        // he wants it
        QVERIFY(b.outputs.Unconfirmed()); // the power is still to be cut
        b.link.OpenPort();
        SOON(!b.outputs.Unconfirmed());
        QCOMPARE(b.Sent(), readLines + readLines + Request(power, 0) + readLines + readLines);
        QCOMPARE(b.board.lines[charge], 1);
        QCOMPARE(b.board.lines[power], 0);
    }

    void WhenAllIsSwitchedByHandNothingIsWantedAnyMore()
    {
        Bench b;
        b.Charge();
        b.ClosePort();
        b.outputs.EndNow(b.run, b.off);
        b.outputs.Told(charge, 0); // says the same: nothing changes
        QVERIFY(b.outputs.Unconfirmed());
        b.outputs.Told(charge, 1);
        b.outputs.Told(power, 1);
        QVERIFY(!b.outputs.Unconfirmed());
        b.link.OpenPort();
        Simulated().Run(10s);
        QVERIFY(!b.Sent().contains(Request(charge, 0)));
        QVERIFY(b.board.ChargeOn());
    }

    void AStopThatIsPressedAgainMeansWhatOthersHaveSwitchedSince()
    {
        Bench b;
        b.End();
        SOON(b.told);
        b.outputs.Told(charge, 1);
        b.board.lines[charge] = 1;
        b.board.SetSilent(true);
        b.End();
        Simulated().Run(2s);
        QVERIFY(b.outputs.Unconfirmed());
        b.board.SetSilent(false);
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.board.ChargeOn());
    }

    void ANewRunThatSwitchesOnIsNotSwitchedOffByTheOneBefore()
    {
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.End();
        Simulated().Run(1100ms);
        QVERIFY(b.outputs.Unconfirmed());
        b.board.SetSilent(false);
        const RunPtr other = b.outputs.Begin({{discharge, 0}}); // another window's, which does not follow it
        b.runner.Start(Switch(&b.outputs, other, discharge, 1));
        b.runner.Start(Switch(&b.outputs, other, charge, 1));
        SOON(!b.outputs.Unconfirmed() && b.runner.Idle());
        Simulated().Run(10s);
        QCOMPARE(b.board.lines[discharge], 1);
        QCOMPARE(b.board.lines[charge], 1);
        QCOMPARE(b.board.lines[power], 0);
    }

    // ---- the queue

    void TheQueueGoesOutInOrder()
    {
        Bench b;
        int done = 0;
        b.outputs.Queue(b.run, {{power, 1}, {setting, 7}}, [&done] { ++done; });
        b.outputs.Queue(nullptr, {{setting, 8}}, [&done] { ++done; });
        b.outputs.QueueEnd(b.run, b.off);
        QCOMPARE(b.Sent(), Request(power, 1));
        SOON(b.link.line.Idle() && !b.run->on);
        QCOMPARE(b.Sent(), Request(setting, 7) + Request(setting, 8) + BytesOf(b.off));
        QCOMPARE(done, 2);
        QVERIFY(b.Quiet());
        QCOMPARE(b.changes, QList<bool>());
    }

    void WhoIsToldThatItIsDoneMayQueueMore()
    {
        Bench b;
        b.outputs.Queue(nullptr, {{setting, 7}}, [&b] { b.outputs.Queue(nullptr, {{setting, 8}}); });
        SOON_EQUAL(b.board.Received(), Request(setting, 7) + Request(setting, 8));
    }

    void AgainstASilentBoardTheQueueKeepsItsOrder()
    {
        Bench b;
        b.board.SetSilent(true);
        b.outputs.Queue(nullptr, {{setting, 1}, {setting, 2}});
        b.outputs.Queue(nullptr, {{setting, 3}});
        QCOMPARE(b.Sent(), Request(setting, 1));
        Simulated().Run(249ms);
        QCOMPARE(b.Sent(), QByteArray());
        Simulated().Run(5ms);
        QCOMPARE(b.Sent(), Request(setting, 2));
        Simulated().Run(255ms);
        QCOMPARE(b.Sent(), Request(setting, 3));
    }

    void ABoardThatWasDeafForTheQueueEndsWithTheNewestValue_data()
    {
        QTest::addColumn<int>("deaf");
        for (const int deaf : {100, 300, 600, 1000, 2000})
            QTest::addRow("for %d ms", deaf) << deaf;
    }
    void ABoardThatWasDeafForTheQueueEndsWithTheNewestValue()
    {
        QFETCH(int, deaf);
        Bench b;
        int value = 0;
        b.board.On(setting, 1, [&value](const QByteArray &written) {
            value = written[0];
            return Bytes({6});
        });
        b.board.SetSilent(true);
        for (const int each : {1, 2, 3})
            b.outputs.Queue(nullptr, {{setting, static_cast<quint8>(each)}});
        Simulated().Run(deaf * 1ms);
        b.board.SetSilent(false);
        Simulated().Run(10s);
        b.outputs.Queue(nullptr, {{ground, 1}}); // somebody else asks in the end
        Simulated().Run(10s);
        QCOMPARE(value, 3);
    }

    void AnEndInTheQueueIsReadBackWhenTheBoardWasDeaf_data()
    {
        QTest::addColumn<int>("deaf");
        for (const int deaf : {100, 300, 600, 1200, 3000, 20000})
            QTest::addRow("for %d ms", deaf) << deaf;
    }
    void AnEndInTheQueueIsReadBackWhenTheBoardWasDeaf()
    {
        QFETCH(int, deaf);
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.outputs.QueueEnd(b.run, b.off);
        QVERIFY(b.run->over);
        Simulated().Run(deaf * 1ms);
        b.board.SetSilent(false);
        SOON(!b.board.ChargeOn());
        SOON(!b.outputs.Unconfirmed() && b.link.line.Idle());
        QVERIFY(b.Quiet());
    }

    void AWriteInTheQueueThatWouldUndoAnEndIsNotSent()
    {
        Bench b;
        b.Charge();
        b.board.SetDelay(100ms);
        b.outputs.Queue(b.run, {{setting, 7}, {charge, 1}, {setting, 8}});
        b.outputs.QueueEnd(b.run, b.off);
        SOON(!b.run->on && b.link.line.Idle());
        QCOMPARE(b.Sent(), Request(setting, 7) + Request(setting, 8) + BytesOf(b.off));
        QVERIFY(b.Quiet());
    }

    void WhatAWindowLeftInTheQueueDoesNotUndoALaterStop()
    {
        Bench b;
        b.Charge();
        const RunPtr other = b.outputs.Begin({{power, 0}});
        b.board.SetSilent(true);
        Result reader;
        b.runner.Start(Ask(&b.link, Request(13), Reply::Framed(2), &reader));
        Simulated().Run(1ms);
        b.outputs.Queue(other, {{setting, 7}, {power, 1}, {setting, 8}}); // waits for the line
        b.End();
        b.Sent();
        b.board.SetSilent(false);
        b.board.Send(Bytes({27, 2, 10, 0}));
        SOON(b.told);
        SOON(b.link.line.Idle());
        QCOMPARE(b.Sent(), BytesOf(b.off) + BytesOf({{setting, 7}, {setting, 8}}));
        QVERIFY(b.Quiet());
    }

    void AStopOverrulesWhatAWindowAskedForBeforeEvenWhereItWritesNothingItself()
    {
        Bench b;
        const RunPtr run = b.outputs.Begin({{charge, 0}, {power, 0}, {discharge, 0}});
        const RunPtr other = b.outputs.Begin({{discharge, 0}});
        b.board.SetSilent(true);
        Result reader;
        b.runner.Start(Ask(&b.link, Request(13), Reply::Framed(2), &reader));
        Simulated().Run(1ms);
        b.outputs.Queue(other, {{setting, 7}, {discharge, 1}}); // a window that is closed again
        b.outputs.Leave(other);
        b.outputs.EndNow(run, b.off);
        b.board.SetSilent(false);
        Simulated().Run(1h);
        QVERIFY(b.Sent().contains(Request(setting, 7)));
        QVERIFY(!b.board.DischargeOn());
        QVERIFY(b.Quiet());
    }

    void AnEndAtOnceDropsWhatTheRunHasInTheQueue()
    {
        Bench b;
        b.Charge();
        b.outputs.Queue(b.run, {{setting, 7}, {setting, 8}});
        b.outputs.Queue(nullptr, {{setting, 9}});
        b.outputs.EndNow(b.run, b.off);
        QCOMPARE(b.Sent(), Request(setting, 7) + BytesOf(b.off));
        SOON(b.link.line.Idle() && !b.outputs.Unconfirmed());
        const QByteArray rest = b.Sent();
        QVERIFY(rest.contains(Request(setting, 9)));
        QVERIFY(!rest.contains(Request(setting, 8)));
        QVERIFY(b.Quiet());
    }

    void AQueueOnAClosedPortSaysSoAndItsEndStaysWanted()
    {
        Bench b;
        b.Charge();
        QSignalSpy failed(&b.outputs, &Outputs::QueueFailed);
        int done = 0;
        b.ClosePort();
        b.outputs.Queue(nullptr, {{setting, 7}}, [&done] { ++done; });
        QCOMPARE(failed.count(), 1);
        QCOMPARE(failed.at(0).at(0).toString(), PortClosed().Text());
        QVERIFY(!b.outputs.Unconfirmed());
        b.outputs.QueueEnd(b.run, b.off);
        QCOMPARE(failed.count(), 2);
        QVERIFY(b.outputs.Unconfirmed());
        Simulated().Run(1h);
        QCOMPARE(done, 0);
        b.link.OpenPort();
        SOON(!b.outputs.Unconfirmed());
        QVERIFY(!b.board.ChargeOn());
        QCOMPARE(b.Sent(), readLines + readLines + BytesOf(b.off) + readLines + readLines);
        QVERIFY(b.Quiet());
    }

    void AQueueOutlastsAPortThatIsLost()
    {
        Bench b;
        b.Charge();
        b.board.SetSilent(true);
        b.outputs.Queue(b.run, {{setting, 7}});
        b.outputs.QueueEnd(b.run, b.off);
        Simulated().Run(10ms);
        b.board.Unplug();
        SOON(b.com.Lost());
        b.Sent();
        Simulated().Run(1h);
        QCOMPARE(b.Sent(), QByteArray());
        b.board.SetSilent(false);
        b.board.Plug();
        SOON(!b.board.ChargeOn());
        QVERIFY(b.Sent().startsWith(Request(setting, 7) + BytesOf(b.off)));
        SOON(!b.outputs.Unconfirmed() && b.link.line.Idle());
        QVERIFY(b.Quiet());
    }

    // ---- before the line is taken or the port is closed

    void NothingToSettleIsSettledAtOnce()
    {
        Bench b;
        b.Settle();
        QVERIFY(b.settled);
    }

    void SettlingWaitsUntilTheBoardWasTold()
    {
        Bench b;
        b.Charge();
        b.board.SetDelay(50ms);
        b.End();
        b.Settle();
        Simulated().Run(99ms);
        QVERIFY(!b.settled);
        SOON(b.settled);
        QVERIFY(b.told);
        QCOMPARE(b.Sent(), BytesOf(b.off));
        QVERIFY(b.Quiet());
    }

    void SettlingWaitsForAcknowledgementsThatNobodyElseWaitsFor()
    {
        Bench b;
        b.Charge();
        b.board.SetDelay(100ms);
        b.outputs.EndNow(b.run, b.off);
        b.Settle();
        Simulated().Run(99ms);
        QVERIFY(!b.settled);
        Simulated().Run(2ms);
        QVERIFY(b.settled);
        QVERIFY(b.Quiet());
    }

    void SettlingLastsNoLongerThanAThirdOfASecondAndSendsTheRest_data()
    {
        QTest::addColumn<bool>("queued");
        QTest::newRow("an end") << false;
        QTest::newRow("the queue") << true;
    }
    void SettlingLastsNoLongerThanAThirdOfASecondAndSendsTheRest()
    {
        QFETCH(bool, queued);
        Bench b;
        b.Charge();
        b.board.On(charge, 1, [](const QByteArray &) { return QByteArray(); }); // neither heard nor acknowledged
        if (queued)
            b.outputs.QueueEnd(b.run, b.off);
        else
            b.End();
        QCOMPARE(b.Sent(), Request(charge, 0));
        const Stopwatch watch;
        b.Settle();
        SOON(b.settled);
        QVERIFY2(watch.Elapsed() <= 300ms, qPrintable(QString::number(watch.Elapsed() / 1ms)));
        QCOMPARE(b.Sent(), Request(power, 0));
        SOON(b.outputs.Unconfirmed());
        b.board.On(charge, 1, [&b](const QByteArray &value) {
            b.board.lines[charge] = value[0];
            return Bytes({6});
        });
        SOON(!b.outputs.Unconfirmed() && b.link.line.Idle());
        QVERIFY(b.Quiet());
    }

    void OnALineThatCannotBeUsedThereIsNothingToSettle()
    {
        Bench b;
        b.Charge();
        b.board.Unplug();
        SOON(b.com.Lost());
        b.End();
        b.Settle();
        QVERIFY(b.settled);
    }
};

REGISTER_TEST(TestOutputs)
#include "tst_outputs.moc"
