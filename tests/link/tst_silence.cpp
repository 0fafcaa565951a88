// SPDX-License-Identifier: GPL-3.0-or-later
#include "link/boardstate.h"
#include "link/command.h"
#include "link/measurement.h"
#include "support/linkfixture.h"
#include "support/suite.h"

#include <QtTest>

namespace {
/// A link with an open port and the words of a calibration.
struct OpenLink : LinkFixture
{
    OpenLink()
    {
        board.Healthy();
        SetCalibration(link);
        link.OpenPort();
    }
    Task<void> Ask(quint8 channel) { co_await measurement::ReadChannel(link, channel); }
    /// What somebody does, seen through.
    void Write(quint8 reg, quint8 value)
    {
        runner.Start(link.outputs.Send(nullptr, reg, value));
        Rests();
        clock.Run(1s);
    }
};
} // namespace

/// A board that says nothing, and what is known of one that does.
class TestSilence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void TenSecondsWithoutAnAnswerAreSilence()
    {
        OpenLink f;
        QSignalSpy changed(&f.link.silence, &Silence::Changed);
        f.clock.Run(1min);
        QVERIFY(!f.link.silence.Lasts()); // nobody asks
        f.board.SetSilent(true);
        f.runner.Start(f.Ask(command::SupplyVoltage));
        f.clock.Run(9900ms);
        QVERIFY(!f.link.silence.Lasts());
        f.clock.Run(200ms);
        QVERIFY(f.link.silence.Lasts());
        f.board.Send(Bytes({27, 3, 32, 0}));
        f.clock.Run(1ms);
        QVERIFY(!f.link.silence.Lasts());
        QCOMPARE(changed.size(), 2);
        f.clock.Run(1min);
        QCOMPARE(changed.size(), 2);
    }

    void TheBeginningOfAnAnswerIsNotItsEnd()
    {
        OpenLink f;
        f.board.SetSilent(true);
        f.runner.Start(f.Ask(command::SupplyVoltage));
        f.clock.Run(5s);
        f.board.Send(Bytes({27, 3}));
        f.clock.Run(9s);
        QVERIFY(!f.link.silence.Lasts());
        f.clock.Run(2s);
        QVERIFY(f.link.silence.Lasts());
    }

    void AskingAgainAndAgainIsNoAnswer()
    {
        OpenLink f;
        f.board.SetSilent(true);
        f.runner.Start(f.Ask(command::SupplyVoltage));
        for (int i = 0; i < 6; ++i) {
            f.clock.Run(2s);
            f.link.line.AskAgain();
        }
        QVERIFY(f.link.silence.Lasts());
    }

    void AGreetingInVainIsSilenceToo()
    {
        OpenLink f;
        f.board.SetSilent(true);
        f.runner.Start(f.link.handshake.ConnectBoard());
        f.clock.Run(11s);
        QVERIFY(f.link.silence.Lasts());
        f.board.SetSilent(false);
        f.clock.Run(1s);
        QVERIFY(!f.link.silence.Lasts());
        f.runner.Drop();
    }

    void AClosedOrLostPortIsNotSilent_data()
    {
        QTest::addColumn<bool>("lost");
        QTest::newRow("closed") << false;
        QTest::newRow("lost") << true;
    }
    void AClosedOrLostPortIsNotSilent()
    {
        QFETCH(bool, lost);
        OpenLink f;
        f.board.SetSilent(true);
        f.runner.Start(f.Ask(command::SupplyVoltage));
        f.clock.Run(11s);
        QVERIFY(f.link.silence.Lasts());
        if (lost)
            f.board.Unplug();
        else
            f.ClosePort();
        f.clock.Run(1min);
        QVERIFY(!f.link.silence.Lasts());
    }

    // ---- what the board does

    void WhatNobodyHasSwitchedOrReadIsUnknown()
    {
        OpenLink f;
        const BoardState state(f.link);
        QCOMPARE(state.Text(), QStringLiteral("inconnu"));
        f.Write(command::CutCharge, 0);
        QCOMPARE(state.Text(), QStringLiteral("inconnu")); // it may discharge
        f.Write(command::CutDischarge, 0);
        QCOMPARE(state.Text(), QStringLiteral("repos"));
        f.link.SessionBegun(); // it may have been switched off and on
        f.clock.Run(1s);
        QCOMPARE(state.Text(), QStringLiteral("inconnu"));
        f.link.outputs.WereRead(7);
        f.clock.Run(1s);
        QCOMPARE(state.Text(), QStringLiteral("repos"));
    }

    void WhatFlowsIsSaidWithItsAmperes()
    {
        OpenLink f;
        f.board.channel = {{10, 384}, {11, 245}};
        const BoardState state(f.link);
        f.Write(command::CutPower, 1);
        f.Write(command::CutCharge, 1);
        QCOMPARE(state.Text(), QStringLiteral("charge"));
        f.runner.Start(f.Ask(command::ChargeCurrent));
        f.runner.Start(f.Ask(command::SupplyVoltage));
        QVERIFY(f.Rests());
        QCOMPARE(state.Text(), QStringLiteral("charge 1,92 A"));
        f.Write(command::CutCharge, 0);
        QVERIFY(state.What() == BoardState::Doing::Unknown);
        f.Write(command::CutDischarge, 1);
        QCOMPARE(state.Text(), QStringLiteral("décharge"));
        f.runner.Start(f.Ask(command::DischargeCurrent));
        QVERIFY(f.Rests());
        QCOMPARE(state.Text(), QStringLiteral("décharge 0,98 A"));
        f.Write(command::CutCharge, 1);
        QCOMPARE(state.Text(), QStringLiteral("charge et décharge"));
        f.link.EndSession();
        QCOMPARE(state.Text(), QStringLiteral("émission"));
    }

    void ACurrentThatIsNotCalibratedOrOutOfRangeIsNotSaid()
    {
        OpenLink f;
        const BoardState state(f.link);
        f.Write(command::CutDischarge, 1);
        f.board.channel = {{11, 33000}};
        f.runner.Start(f.Ask(command::DischargeCurrent));
        QVERIFY(f.Rests());
        QVERIFY(f.runner.Threw<Overflow>());
        QCOMPARE(state.Text(), QStringLiteral("décharge"));
        f.board.channel = {{11, 245}};
        f.link.SlaveEeprom[2] = f.link.SlaveEeprom[3] = 0;
        f.runner.Start(f.Ask(command::DischargeCurrent));
        QVERIFY(f.Rests());
        QCOMPARE(state.Text(), QStringLiteral("décharge"));
    }

    void AnInterruptionForAMeasurementIsNotTold()
    {
        OpenLink f;
        const BoardState state(f.link);
        f.Write(command::CutDischarge, 1);
        QSignalSpy changed(&state, &BoardState::Changed);
        for (const quint8 value : {quint8(0), quint8(1)}) {
            f.runner.Start(f.link.outputs.Send(nullptr, command::CutDischarge, value));
            f.clock.Run(300ms);
        }
        f.clock.Run(2s);
        QVERIFY(changed.isEmpty());
    }

    void OfABoardOutOfSightTheLastIsKept()
    {
        OpenLink f;
        const BoardState state(f.link);
        f.Write(command::CutDischarge, 1);
        QVERIFY(!state.IsPast());
        f.board.Unplug();
        f.clock.Run(5s);
        QVERIFY(state.IsPast());
        QCOMPARE(state.Text(), QStringLiteral("décharge"));
        f.board.Plug();
        f.clock.Run(5s);
        QVERIFY(!state.IsPast());
        QCOMPARE(state.Text(), QStringLiteral("inconnu"));
    }

    void WhatASilentBoardDoesIsPast()
    {
        OpenLink f;
        const BoardState state(f.link);
        f.Write(command::CutDischarge, 1);
        f.board.SetSilent(true);
        f.runner.Start(f.Ask(command::SupplyVoltage));
        f.clock.Run(11s);
        QVERIFY(state.IsPast());
        QCOMPARE(state.Text(), QStringLiteral("décharge"));
    }
};

REGISTER_TEST(TestSilence)
#include "tst_silence.moc"
