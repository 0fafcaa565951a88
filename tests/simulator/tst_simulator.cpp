// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulator/shrink.h"
#include "simulator/world.h"
#include "support/suite.h"

namespace {
Order Seed(quint64 seed)
{
    Order order;
    order.seed = seed;
    order.length = 20min;
    return order;
}

Act Click(Clock::Duration at, const char *window, const char *button)
{
    return {at, QStringLiteral("click"), QLatin1String(window), QLatin1String(button), {}};
}

Act Fault(Clock::Duration at, const char *kind, const char *value = "", const char *way = "")
{
    return {at, QStringLiteral("fault"), QLatin1String(kind), QLatin1String(way), QLatin1String(value)};
}

/// The judge over a program that does nothing by itself.
struct Court
{
    Court()
    {
        board.SwitchOn();
        port->Open(QStringLiteral("memory"), {});
        judge.Look();
        clock.Run(10s); // long after the opening
    }
    QString Verdict() const { return judge.Verdict() ? judge.Verdict()->name : QString(); }

    SimulatedClock clock;
    MemoryPort *port = new MemoryPort;
    Main program{std::unique_ptr<Port>(port)};
    FaultyBoard board;
    Counts counts;
    Judge judge{program, *port, (board.Attach(port), board), counts};
};

/// What a story has come to, for a failing test.
QByteArray Told(const Outcome &outcome)
{
    return outcome.violation ? outcome.Text().toUtf8() : QByteArray();
}
} // namespace

/// Stories of the whole program: some from seeds, as the simulator tells them by the thousand, and those in which
/// something went wrong once.
class TestSimulator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void TheSameSeedTellsTheSameStory()
    {
        Order order = Seed(34);
        order.length = 2h;
        const QString story = World(order).Explore().Text();
        QVERIFY(story.size() > 2000);
        QCOMPARE(World(order).Explore().Text(), story);
        Order another = order;
        another.seed = 8;
        QVERIFY(World(another).Explore().Text() != story);
    }

    void AStoryThatIsToldAgainIsTheSame()
    {
        const Order order = Seed(9);
        const Outcome story = World(order).Explore();
        QVERIFY(story.acts.size() > 10);
        const Outcome again = World(order).Replay(story.acts, story.length);
        QCOMPARE(again.digest, story.digest);
    }

    void NothingThatMustNeverHappenHappens_data()
    {
        QTest::addColumn<quint64>("seed");
        for (quint64 seed = 1; seed <= 60; ++seed)
            QTest::addRow("%d", static_cast<int>(seed)) << seed;
    }
    void NothingThatMustNeverHappenHappens()
    {
        QFETCH(quint64, seed);
        const Order order = Seed(seed);
        const QByteArray told = Told(World(order).Explore());
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void EveryFaultStrikes_data()
    {
        QTest::addColumn<QString>("kind");
        for (const QString &kind : World::FaultKinds())
            QTest::newRow(qPrintable(kind)) << kind;
    }
    void EveryFaultStrikes()
    {
        QFETCH(QString, kind);
        Order order = Seed(7);
        order.window = QStringLiteral("Chargeur");
        order.fault = kind;
        const Outcome outcome = World(order).Explore();
        QVERIFY2(Told(outcome).isEmpty(), Told(outcome).constData());
        QCOMPARE(outcome.counts.faults.keys(), QStringList{kind});
        QVERIFY(outcome.counts.exchanges > 100);
    }

    // ---- what went wrong once

    void AnAnswerTenSecondsLateIsNotTakenForAnothers()
    {
        const std::vector<Act> acts{Click(5s, "Main", "Cb_Reglage"),
                                    {442205ms, QStringLiteral("choose"), QStringLiteral("Reglage"),
                                     QStringLiteral("SelRegl"), QStringLiteral("4")},
                                    Fault(442210ms, "late", "10000"),
                                    Click(444816ms, "RglDech", "Dechset"),
                                    {444818ms, QStringLiteral("choose"), QStringLiteral("Reglage"),
                                     QStringLiteral("SelRegl"), QStringLiteral("3")},
                                    {444897ms, QStringLiteral("choose"), QStringLiteral("Reglage"),
                                     QStringLiteral("SelRegl"), QStringLiteral("5")}};
        const QByteArray told = Told(World(Seed(34)).Replay(acts, 460s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void ACalibrationThatWasLeftDoesNotSwitchOnBehindAStop()
    {
        const std::vector<Act> acts{{2401803ms, QStringLiteral("look away"), {}, {}, {}},
                                    Click(2401803ms, "Main", "Cb_Reglage"),
                                    {2401817ms, QStringLiteral("choose"), QStringLiteral("Reglage"),
                                     QStringLiteral("SelRegl"), QStringLiteral("1")},
                                    Click(2401818ms, "Reglage", "Rquitter"),
                                    Click(2401904ms, "Main", "CbDechargeur"),
                                    Click(2401905ms, "Dechargeur", "CBStop")};
        const QByteArray told = Told(World(Seed(470)).Replay(acts, 2410s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void AStartThatEndsTheProgramByAnErrorDoesNotSayThatItRuns()
    {
        const std::vector<Act> acts{Click(10s, "Main", "cb_chargeur"), Fault(12s, "disk"),
                                    Click(13s, "Chargeur", "CBStop"), Click(13034ms, "Chargeur", "CBstart")};
        const QByteArray told = Told(World(Seed(315)).Replay(acts, 20s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void AStopShowsAtOnceWhenThePortWasOpenedAnewInMidAnswer()
    {
        const std::vector<Act> acts{Click(5s, "Main", "cb_chargeur"),
                                    Fault(21635ms, "cut"),
                                    Click(21708ms, "Chargeur", "CBstart"),
                                    {23132ms, QStringLiteral("look away"), {}, {}, {}},
                                    Click(23133ms, "Chargeur", "CBStop")};
        const QByteArray told = Told(World(Seed(118)).Replay(acts, 30s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void ABoardThatStreamsSinceADisconnectionIsGreetedForWhoeverWaits()
    {
        const std::vector<Act> acts{Click(10s, "Main", "CD_DECONNECT"),
                                    Click(12s, "Main", "CbMoni"),
                                    Click(20s, "Main", "CbDechargeur"),
                                    Click(30s, "Main", "Cb_Debug"),
                                    Click(30025ms, "Micro", "CbPgmSlave"),
                                    {30026ms, QStringLiteral("file"), {}, {}, QStringLiteral("no-end.HEX")},
                                    Click(40s, "Dechargeur", "CBstart"),
                                    Fault(50s, "restart"),
                                    {60s, QStringLiteral("rest"), {}, {}, {}}};
        const QByteArray told = Told(World(Seed(70459)).Replay(acts, 90s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    // ---- where the judge once erred

    void ALineThatARunHasNotTouchedIsNoneOfItsOwn()
    {
        const std::vector<Act> acts{
            Click(10s, "Main", "Cb_Reglage"),
            {11s, QStringLiteral("choose"), QStringLiteral("Reglage"), QStringLiteral("SelRegl"), QStringLiteral("1")},
            Click(20s, "Vout", "CBQvout"), // switches the discharge line on
            Click(21s, "Main", "cb_chargeur"),
            Click(30s, "Chargeur", "CBstart"),
            Click(30002ms, "Chargeur", "CBStop")};
        const QByteArray told = Told(World(Seed(20355)).Replay(acts, 40s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void AWindowThatIsClosedBehindAStopMaySwitchOn()
    {
        const std::vector<Act> acts{
            Click(10s, "Main", "Cb_Reglage"),
            {20s, QStringLiteral("choose"), QStringLiteral("Reglage"), QStringLiteral("SelRegl"), QStringLiteral("5")},
            Click(30s, "Main", "CbDechargeur"),
            Click(50s, "Dechargeur", "CBStop"),
            {50s, QStringLiteral("close"), QStringLiteral("RegLIPO"), {}, {}}};
        const QByteArray told = Told(World(Seed(30257)).Replay(acts, 60s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void AProgramThatHasJustBegunKnowsNothingOfTheGreetingsOfTheOneBefore() // seed 502055
    {
        const std::vector<Act> acts{Click(11472708us, "Main", "CbMoni"), Fault(11472835us, "late", "10000"),
                                    Click(11473059us, "Moni", "CbQuit"), Click(17808233us, "Main", "Cb_quitter"),
                                    Click(18834660us, "Main", "CbCapa"), Click(18838844us, "MesCapa", "CBstart")};
        const QByteArray told = Told(World(Seed(502055)).Replay(acts, 40s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void TheLogOfTheSameMinuteTakesThePlaceOfTheOneBefore()
    {
        const std::vector<Act> acts{Click(7460ms, "Main", "cb_chargeur"), Click(7464ms, "Chargeur", "CBstart"),
                                    Click(9073ms, "Chargeur", "CBstart"),
                                    Click(9074ms, "Chargeur", "CQuitter")}; // before a write of the start has gone out
        const QByteArray told = Told(World(Seed(116)).Replay(acts, 20s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    void ALogStaysWhereItWasOpened()
    {
        const std::vector<Act> acts{Click(10s, "Main", "CbMoni"),
                                    Click(15s, "Moni", "CbDepart"), // changes the folder
                                    Click(20s, "Main", "Cb_quitter"),
                                    Click(30s, "Main", "cb_chargeur"),
                                    Click(40s, "Chargeur", "CBstart"),
                                    {40004ms, QStringLiteral("rest"), {}, {}, {}}}; // and this changes it back
        const QByteArray told = Told(World(Seed(20401)).Replay(acts, 90s));
        QVERIFY2(told.isEmpty(), told.constData());
    }

    // ---- the judge

    void AnAnswerThatTheBoardNeverGaveIsForeign()
    {
        Court court;
        const Question question{Request(13), Reply::Framed(2)};
        court.port->Send(question.request);
        court.clock.Run(1s);
        Q_EMIT court.program.Link().line.Answered(question, court.port->Take().mid(1));
        QVERIFY(!court.judge.Verdict());
        Q_EMIT court.program.Link().line.Answered(question, QByteArray(3, 1));
        QCOMPARE(court.Verdict(), QStringLiteral("foreign-answer"));
    }

    void AnAnswerIsGivenOnce()
    {
        Court court;
        const Question question{Request(13), Reply::Framed(2)};
        court.port->Send(question.request);
        court.clock.Run(1s);
        const QByteArray data = court.port->Take().mid(1);
        Q_EMIT court.program.Link().line.Answered(question, data);
        Q_EMIT court.program.Link().line.Answered(question, data);
        QCOMPARE(court.Verdict(), QStringLiteral("foreign-answer"));
    }

    void WhatIsOnTwoSecondsAfterAStopIsLeftOn()
    {
        Court court;
        court.port->Send(Request(15, 1));
        court.clock.Run(1s);
        Q_EMIT court.program.ChargeWindow().Stopped();
        court.clock.Run(1900ms);
        court.judge.Look();
        QVERIFY(!court.judge.Verdict());
        court.clock.Run(1s);
        court.judge.Look();
        QCOMPARE(court.Verdict(), QStringLiteral("left-on"));
    }

    void NothingIsSwitchedOnBehindAStop()
    {
        Court court;
        Q_EMIT court.program.ChargeWindow().Stopped();
        court.port->Send(Request(15, 0));
        QVERIFY(!court.judge.Verdict());
        court.port->Send(Request(15, 1));
        QCOMPARE(court.Verdict(), QStringLiteral("switched-on-after-the-end"));
    }

    void ARequestWithoutItsParameterIsTorn()
    {
        Court court;
        court.port->Send(Request(15));
        QCOMPARE(court.Verdict(), QStringLiteral("torn-request"));
    }

    void WhatBecomesMoreFromRestToRestGrows()
    {
        Court court;
        court.judge.LookForGrowth(0);
        court.judge.LookForGrowth(20);
        QVERIFY(!court.judge.Verdict());
        for (int i = 0; i < 500; ++i)
            new QObject(&court.program);
        court.judge.LookForGrowth(0);
        QCOMPARE(court.Verdict(), QStringLiteral("grows"));
    }

    void TheShortestStoryKeepsWhatItNeeds()
    {
        const Order order = Seed(7);
        Outcome story = World(order).Explore();
        QVERIFY(!story.violation);
        story.violation = Violation{QStringLiteral("never"), {}, {}};
        QCOMPARE(Shrink(order, story).acts.size(), story.acts.size()); // nothing shorter goes wrong like that
    }
};

REGISTER_TEST(TestSimulator)
#include "tst_simulator.moc"
