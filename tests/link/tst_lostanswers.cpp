// SPDX-License-Identifier: GPL-3.0-or-later
#include "asking.h"
#include "support/suite.h"

#include <QtTest>

#include <random>

namespace {
constexpr auto patience = 250ms;
constexpr auto lost = 1s;
constexpr auto quiet = 50ms;
const auto acknowledge = Reply::Acknowledge();
const auto channel = Reply::Framed(2);

/// Two handlers: the older one asks for `first`, the younger one for `second`. The board hears both, and sends only
/// what the test makes it send.
struct Two : LinkFixture
{
    explicit Two(quint8 itsFirst = 13, quint8 itsSecond = 12) : first(itsFirst), second(itsSecond)
    {
        link.OpenPort();
        runner.Start(Ask(&link, Request(first), channel, &older));
        runner.Start(Ask(&link, Request(second), channel, &younger));
    }

    /// The answer to a channel, which tells what channel it is of.
    static QByteArray AnswerOf(int number) { return Bytes({27, number, 10 * number, 0}); }
    static QByteArray DataOf(int number) { return AnswerOf(number).mid(1); }
    /// From now on the board answers both channels.
    void Answers()
    {
        for (const quint8 number : {first, second})
            board.On(number, 0, [number](const QByteArray &) { return AnswerOf(number); });
    }
    QByteArray Sent() { return board.TakeReceived(); }
    QByteArray Both() const { return Request(first) + Request(second); }
    /// Both were served with what is theirs.
    bool Right() const { return older.reply == DataOf(first) && younger.reply == DataOf(second); }

    const quint8 first;
    const quint8 second;
    Result older;
    Result younger;
};

/// A board that takes its time and loses things: whole answers, single bytes. What it says of channel n is n; writes
/// are acknowledged.
class UnreliableBoard : public QObject
{
public:
    UnreliableBoard(MemoryPort &port, quint32 seed) : port_(port), random_(seed)
    {
        connect(&port, &MemoryPort::SentByProgram, this, &UnreliableBoard::Take);
    }

    /// From now on it answers all at once.
    void Recover() { reliable_ = true; }
    bool Chance(int oneIn) { return std::uniform_int_distribution(1, oneIn)(random_) == 1; }
    int Upto(int most) { return std::uniform_int_distribution(0, most)(random_); }

private:
    void Take(const QByteArray &request)
    {
        QByteArray answer = request.size() > 2 ? Bytes({6}) : Bytes({27, request[1], request[1], 0});
        int delay = 1;
        if (!reliable_) {
            if (Chance(6))
                return;
            if (Chance(8))
                answer.remove(Upto(static_cast<int>(answer.size()) - 1), 1);
            // Never so late, after the request and what it said before, that it counts as lost.
            delay = Chance(3) ? Upto(900) : Upto(10);
        }
        ready_ = std::max(ready_, Clock::Current().Now()) + delay * 1ms;
        for (qsizetype i = 0; i < answer.size(); ++i) {
            if (i > 0 && !reliable_ && Chance(20))
                ready_ += Upto(400) * 1ms;
            due_.emplace_back(ready_, answer[i]);
        }
        if (!arrival_.IsSet())
            Next();
    }
    void Next()
    {
        if (!due_.empty())
            arrival_.Start(due_.front().first - Clock::Current().Now());
    }
    void Deliver()
    {
        port_.Deliver(QByteArray(1, due_.front().second));
        due_.pop_front();
        Next();
    }

    MemoryPort &port_;
    std::mt19937 random_;
    bool reliable_ = false;
    Clock::Duration ready_{};
    std::deque<std::pair<Clock::Duration, char>> due_;
    Alarm arrival_{[this] { Deliver(); }};
};

/// A handler that asks for a channel some times; what came that was not of it.
Task<void> AskForMine(Codebas *link, int number, int times, int *served, QByteArrayList *wrong)
{
    for (int i = 0; i < times; ++i) {
        Task<QByteArray> exchange = link->Exchange(Request(number), channel);
        const QByteArray reply = co_await exchange;
        ++*served;
        if (reply.left(2) != Bytes({number, number}))
            wrong->append(QByteArray::number(number) + " got " + reply.toHex(' '));
    }
}
} // namespace

class TestLostAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- what was given up and is late

    /// The first byte of the board is a sign of life, and all behind it is dropped: its rest, too.
    void APartOfAnAnswerDoesNotEndTheDoubt()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.line.LeaveDoubt();
        Simulated().Run(100ms);
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), channel, &result));
        f.board.Send(Bytes({27}));
        Simulated().Run(100ms + quiet);
        f.board.TakeReceived();          // asked again
        f.board.Send(Bytes({7, 7, 27})); // the rest of what was late, at once behind it
        f.board.Send(Bytes({1, 2, 3}));
        f.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 13, 130, 0}); });
        SOON(result.done);
        QCOMPARE(result.reply, Bytes({13, 130, 0}));
        QVERIFY(f.link.line.Idle());
    }

    void AnAnswerBehindASignOfLifeThatDoesNotComeAtOnceIsAnotherOne()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.line.LeaveDoubt();
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), channel, &result));
        f.board.Send(Bytes({27, 1, 1, 0})); // to what was asked for before
        Simulated().Run(2 * quiet);
        QCOMPARE(f.board.Received(), Bytes({27, 13, 27, 13}));
        Simulated().Run(10 * quiet);
        f.board.Send(Bytes({27, 2, 2, 0})); // to the first time, late; and to the second
        f.board.Send(Bytes({27, 3, 3, 0}));
        f.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 13, 130, 0}); });
        SOON(result.done);
        QCOMPARE(result.reply, Bytes({13, 130, 0}));
        QVERIFY(f.link.line.Idle());
    }

    void AnAnswerThatWasLateWhenAClosingCutItComesBehindTheClosing()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result first;
        f.runner.Start(Ask(&f.link, Request(13), channel, &first));
        Simulated().Run(2 * quiet);
        f.Reopen();
        f.board.TakeReceived();
        SOON_EQUAL(f.board.Received(), Request(13));
        f.board.Send(Bytes({27, 1, 1, 0})); // to the first time; and to the second
        f.board.Send(Bytes({27, 2, 2, 0}));
        f.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 13, 130, 0}); });
        SOON(first.done);
        QCOMPARE(first.reply, Bytes({13, 130, 0}));
        QVERIFY(f.link.line.Idle());
    }

    // ---- what silence is

    void TheRestOfAnAnswerThatAClosingCutIsNotTakenForAnAcknowledgement() // seed 400233
    {
        LinkFixture f;
        f.link.OpenPort();
        Result read, write;
        f.runner.Start(Ask(&f.link, Request(37, 0), Reply::Framed(1), &read));
        f.board.Send(Bytes({27, 11}));
        Simulated().Run(1ms);
        f.Reopen(); // the window that has read is left, before the last byte has come
        f.runner.Start(Ask(&f.link, Request(20, 165), acknowledge, &write));
        SOON(f.board.Received().endsWith(Request(20, 165)));
        f.board.TakeReceived();
        Simulated().Run(45ms);
        f.board.Send(Bytes({0}));
        f.board.Send(Bytes({6}));
        f.board.On(20, 1, [](const QByteArray &) { return Bytes({7}); });
        SOON(write.done);
        QCOMPARE(write.reply, Bytes({7}));
    }

    void AnAnswerThatAClosingCutIsNotTakenForTheNextOneWhenTheOpeningTookItsTime()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result stop, cut;
        f.runner.Start(Ask(&f.link, Request(13), channel, &cut));
        Simulated().Run(1ms);
        f.ClosePort();
        Simulated().Run(136ms);
        f.link.OpenPort();
        f.runner.Start(Ask(&f.link, Request(19, 160), acknowledge, &stop));
        SOON(f.board.Received().endsWith(Request(19, 160)));
        f.board.TakeReceived();
        Simulated().Run(11ms);
        f.board.Send(Bytes({27, 1, 253, 0})); // of before the closing
        f.board.Send(Bytes({6}));
        f.board.On(19, 1, [](const QByteArray &) { return Bytes({7}); });
        SOON(stop.done);
        QCOMPARE(stop.reply, Bytes({7}));
        QCOMPARE(f.board.TakeReceived(), Request(19, 160));
    }

    void AnAnswerThatALossCutIsNotTakenForTheNextOneHoweverPromptTheBoardHadBeen()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.On(13, 0, [](const QByteArray &) { return Two::AnswerOf(13); });
        Result first, stop;
        f.runner.Start(Ask(&f.link, Request(13), channel, &first)); // prompt
        SOON(first.done);
        f.board.TakeReceived();
        f.runner.Start(Ask(&f.link, Request(41), Reply::Framed(3), &first));
        f.board.Unplug();
        f.runner.Drop();
        Simulated().Run(178ms);
        f.board.Plug();
        Simulated().Run(1ms);
        f.runner.Start(Ask(&f.link, Request(17, 0), acknowledge, &stop));
        SOON(f.board.Received().endsWith(Request(17, 0)));
        f.board.TakeReceived();
        Simulated().Run(22ms);
        f.board.Send(Bytes({27, 0, 3, 45, 0})); // of before
        Simulated().Run(10ms);
        QVERIFY(!stop.done);
        f.board.Send(Bytes({6}));
        f.board.On(17, 1, [](const QByteArray &) { return Bytes({6}); });
        SOON(stop.done);
        QCOMPARE(stop.reply, Bytes({6}));
        QCOMPARE(f.board.TakeReceived(), Request(17, 0));
    }

    void TheYoungerOneWaitsForAQuarterOfASecondOfSilence()
    {
        Two two;
        Simulated().Run(patience - 1ms);
        QCOMPARE(two.board.Received(), Request(13));
        Simulated().Run(1ms);
        QCOMPARE(two.board.Received(), two.Both());
        QVERIFY(two.link.line.Doubtful());
        QCOMPARE(two.link.line.Disturbances(), 1);
    }

    void ASilenceThatIsLongEnoughIsNotWaitedForAgain()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result first;
        Result second;
        f.runner.Start(Ask(&f.link, Request(13), channel, &first));
        Simulated().Run(10s);
        f.runner.Start(Ask(&f.link, Request(15, 0), acknowledge, &second));
        Simulated().Run(1ms);
        QCOMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0}));
    }

    void ABoardThatSpeaksSlowlyIsNotSilent()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result slow;
        Result other;
        f.runner.Start(Ask(&f.link, Request(41), Reply::Framed(30), &slow));
        f.runner.Start(Ask(&f.link, Request(15, 0), acknowledge, &other));
        f.board.Send(Bytes({27}));
        for (int i = 0; i < 31; ++i) {
            Simulated().Run(patience - 1ms);
            QCOMPARE(f.board.Received(), Bytes({27, 41}));
            f.board.Send(Bytes({i}));
        }
        SOON(slow.done);
        QCOMPARE(slow.reply.size(), 31);
        QCOMPARE(slow.reply[30], char(30));
        SOON_EQUAL(f.board.Received(), Bytes({27, 41, 27, 15, 0}));
    }

    void TheInputIsLookedAtBeforeSilenceIsBelieved_data()
    {
        QTest::addColumn<bool>("told");
        QTest::newRow("it is told of late") << true;
        QTest::newRow("it is not told of at all") << false;
    }
    void TheInputIsLookedAtBeforeSilenceIsBelieved()
    {
        QFETCH(bool, told);
        Two two;
        Simulated().Run(10ms);
        two.com.blockSignals(!told);
        two.board.Send(Two::AnswerOf(13));
        Simulated().Stall(300ms); // the program was held up by something
        Simulated().Run(0ms);
        QVERIFY(two.older.done); // before anybody overtook it
        QCOMPARE(two.older.reply, Two::DataOf(13));
        QCOMPARE(two.link.line.Disturbances(), 0);
        two.com.blockSignals(false);
        SOON_EQUAL(two.board.Received(), two.Both());
        two.Sent();
        two.board.Send(Two::AnswerOf(12));
        SOON(two.younger.done);
        QVERIFY(two.Right());
    }

    void AByteThatIsFoundByLookingBreaksTheSilence()
    {
        Two two;
        Simulated().Run(10ms);
        two.com.blockSignals(true);
        Simulated().Run(100ms);
        two.board.Send(Bytes({27}));
        Simulated().Run(patience); // it is found at the end of the silence, and begins a new one
        QCOMPARE(two.board.Received(), Request(13));
        QCOMPARE(two.com.InBufferCount(), 0);
        Simulated().Run(patience);
        QCOMPARE(two.board.Received(), two.Both());
    }

    void TheInputIsLookedAtBeforeAnythingIsGivenUpForLost()
    {
        Two two;
        Simulated().Run(2 * patience);
        two.com.blockSignals(true);
        two.board.Send(Two::AnswerOf(13)); // without a word
        Simulated().Run(patience + lost);
        QVERIFY(!two.older.done);
        QCOMPARE(two.link.line.Disturbances(), 1);
        two.com.blockSignals(false);
        two.board.Send(Two::AnswerOf(12));
        SOON(two.runner.Idle());
        QVERIFY(two.Right());
        QCOMPARE(two.Sent(), two.Both());
    }

    // ---- late answers

    void ALateAnswerReachesTheOneWhoAsked_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("second");
        QTest::newRow("13 overtaken by 12") << 13 << 12;
        QTest::newRow("12 overtaken by 13") << 12 << 13;
    }
    void ALateAnswerReachesTheOneWhoAsked()
    {
        QFETCH(int, first);
        QFETCH(int, second);
        Two two(static_cast<quint8>(first), static_cast<quint8>(second));
        Simulated().Run(patience);
        QCOMPARE(two.Sent(), two.Both());
        two.board.Send(Two::AnswerOf(first));
        Simulated().Run(100ms);
        QVERIFY(!two.older.done && !two.younger.done); // it may be the answer to either, for all that is known
        two.board.Send(Two::AnswerOf(second));
        SOON(two.runner.Idle());
        QVERIFY(two.Right());
        QCOMPARE(two.Sent(), QByteArray()); // nothing was asked twice
        QVERIFY(!two.link.line.Doubtful());
    }

    void BothAnswersInOneBurst()
    {
        Two two;
        Simulated().Run(patience);
        two.board.Send(Two::AnswerOf(13) + Two::AnswerOf(12));
        SOON(two.runner.Idle());
        QVERIFY(two.Right());
        QCOMPARE(two.Sent(), two.Both());
    }

    void AnAnswerThatIsLateByAlmostASecond()
    {
        Two two;
        Simulated().Run(patience + lost - 1ms);
        QCOMPARE(two.Sent(), two.Both());
        two.board.Send(Two::AnswerOf(13));
        Simulated().Run(lost - 1ms);
        two.board.Send(Two::AnswerOf(12));
        SOON(two.runner.Idle());
        QVERIFY(two.Right());
        QCOMPARE(two.Sent(), QByteArray());
    }

    void TheYoungestGoesOnFirst()
    {
        LinkFixture f;
        f.link.OpenPort();
        const auto note = [](Codebas *link, int number, QList<int> *order) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(Request(number), Reply::Framed(2));
            co_await exchange;
            order->append(number);
        };
        QList<int> order;
        for (const int number : {11, 12, 13})
            f.runner.Start(note(&f.link, number, &order));
        Simulated().Run(2 * patience);
        QCOMPARE(f.board.Received(), Bytes({27, 11, 27, 13, 27, 12}));
        f.board.Send(Two::AnswerOf(11) + Two::AnswerOf(13) + Two::AnswerOf(12));
        SOON(f.runner.Idle());
        QCOMPARE(order, (QList<int>{13, 12, 11}));
    }

    void OneThatOvertookMayBeOvertakenToo()
    {
        Two two;
        Result third;
        Simulated().Run(patience);
        two.runner.Start(Ask(&two.link, Request(11), channel, &third));
        Simulated().Run(patience - 1ms);
        QCOMPARE(two.board.Received(), two.Both()); // the second has not been silent for long enough
        Simulated().Run(1ms);
        QCOMPARE(two.board.Received(), two.Both() + Request(11));
        two.board.Send(Two::AnswerOf(13) + Two::AnswerOf(12) + Two::AnswerOf(11));
        SOON(two.runner.Idle());
        QVERIFY(two.Right());
        QCOMPARE(third.reply, Two::DataOf(11));
    }

    void AStopReachesASilentBoard()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result step;
        Result stop;
        f.runner.Start(Ask(&f.link, Request(13), channel, &step));
        f.runner.Start(Ask(&f.link, Request(15, 0), acknowledge, &stop));
        Simulated().Run(patience);
        QCOMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0}));
        f.board.Send(Bytes({27, 8, 9, 0, 6})); // the board was only late
        SOON(f.runner.Idle());
        QCOMPARE(stop.reply, Bytes({6}));
        QCOMPARE(step.reply, Bytes({8, 9, 0}));
        QCOMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0})); // nothing was sent again
    }

    void TheAcknowledgementOfAStopIsNotTakenForAnAnswer()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result step;
        Result stop;
        f.runner.Start(Ask(&f.link, Request(13), channel, &step));
        f.runner.Start(Ask(&f.link, Request(15, 0), acknowledge, &stop));
        Simulated().Run(patience);
        f.board.TakeReceived();
        f.board.Send(Bytes({27})); // the board heard the stop only, and acknowledges with a 27 of all bytes
        f.board.Healthy();
        f.board.channel[13] = 522;
        SOON(f.runner.Idle());
        QCOMPARE(f.board.Received(), Bytes({27, 15, 0, 27, 15, 0, 27, 13}));
        QCOMPARE(step.reply, Bytes({2, 10, 0}));
        QCOMPARE(stop.reply, Bytes({6}));
    }

    // ---- lost answers

    void AloneOnTheLineAnAnswerIsWaitedForWithoutEnd()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), channel, &result));
        Simulated().Run(1h);
        QCOMPARE(f.board.Received(), Request(13));
        f.board.Send(Two::AnswerOf(13));
        SOON(result.done);
        QCOMPARE(f.link.line.Disturbances(), 0);
    }

    void WhoIsTiredOfWaitingMayAskAgain()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.line.AskAgain(); // nothing is owed
        QCOMPARE(f.link.line.Disturbances(), 0);
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), channel, &result));
        Simulated().Run(10s);
        QCOMPARE(f.link.line.Silence(), Clock::Duration(10s));
        f.link.line.AskAgain();
        QCOMPARE(f.link.line.Disturbances(), 1);
        Simulated().Run(quiet);
        QCOMPARE(f.board.Received(), Request(13) + Request(13));
        f.board.Send(Two::AnswerOf(13)); // perhaps to the first: it shows that the board is there
        SOON_EQUAL(f.board.Received(), Request(13) + Request(13) + Request(13));
        QVERIFY(!result.done);
        f.board.Send(Two::AnswerOf(13));
        SOON(result.done);
        QCOMPARE(f.link.line.Silence(), Clock::Duration::zero());
    }

    void WithSeveralOwedASecondWithoutAByteIsALoss_data()
    {
        QTest::addColumn<QByteArray>("came");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("the answer to the younger") << Two::AnswerOf(12);
        QTest::newRow("the answer to the older") << Two::AnswerOf(13);
        QTest::newRow("a part of it") << Two::AnswerOf(13).left(2);
        QTest::newRow("one and a part") << Two::AnswerOf(13) + Two::AnswerOf(12).left(3);
        QTest::newRow("both but for a byte") << Two::AnswerOf(13).left(2) + Two::AnswerOf(12);
    }
    void WithSeveralOwedASecondWithoutAByteIsALoss()
    {
        QFETCH(QByteArray, came);
        Two two;
        Simulated().Run(patience + 10ms);
        QCOMPARE(two.Sent(), two.Both());
        two.board.Send(came);
        two.Answers();
        Simulated().Run(lost - 11ms);
        QCOMPARE(two.Sent(), QByteArray());
        QVERIFY(!two.older.done && !two.younger.done);
        SOON(two.runner.Idle());
        QCOMPARE(two.Sent(), Request(12) + Request(12) + Request(13)); // the younger first, once for a sign of life
        QVERIFY(two.Right());
        QCOMPARE(two.link.line.Disturbances(), 2); // the overtaking and the loss
    }

    void WhatStillComesIsDrained()
    {
        Two two;
        Simulated().Run(patience + lost);
        QCOMPARE(two.Sent(), two.Both());
        const QByteArray both = Two::AnswerOf(13) + Two::AnswerOf(12);
        for (const char byte : both) { // now, of all times
            two.board.Send(QByteArray(1, byte));
            Simulated().Run(quiet - 1ms);
            QCOMPARE(two.Sent(), QByteArray());
        }
        two.Answers();
        SOON(two.runner.Idle());
        QCOMPARE(two.Sent(), Request(12) + Request(12) + Request(13));
        QVERIFY(two.Right());
    }

    void ABoardThatIsNeverQuietIsDrainedForASecond()
    {
        Two two;
        Simulated().Run(patience + lost);
        two.Sent();
        const Stopwatch watch;
        while (two.board.Received().isEmpty() && watch.Elapsed() < 10s) {
            two.board.Send(Bytes({200}));
            Simulated().Run(10ms);
        }
        QCOMPARE(two.Sent(), Request(12));
        QVERIFY2(watch.Elapsed() >= 1s && watch.Elapsed() <= 1100ms,
                 qPrintable(QString::number(watch.Elapsed() / 1ms)));
    }

    void WhoWaitsMeanwhileIsServedToo()
    {
        Two two;
        Result third;
        Result fourth;
        Simulated().Run(patience);
        two.Sent();
        two.Answers();
        two.board.On(11, 0, [](const QByteArray &) { return Two::AnswerOf(11); });
        two.board.On(10, 0, [](const QByteArray &) { return Two::AnswerOf(10); });
        Simulated().Run(lost + 10ms); // it is being drained
        two.runner.Start(Ask(&two.link, Request(11), channel, &third));
        two.runner.Start(Ask(&two.link, Request(10), channel, &fourth));
        SOON(two.runner.Idle());
        QCOMPARE(two.Sent(), Bytes({27, 10, 27, 10, 27, 11, 27, 12, 27, 13}));
        QVERIFY(two.Right());
        QCOMPARE(third.reply, Two::DataOf(11));
        QCOMPARE(fourth.reply, Two::DataOf(10));
    }

    void WhatIsStillOnItsWayWhenAllBecomesVoidIsNobodys_data()
    {
        QTest::addColumn<bool>("reopened");
        QTest::newRow("the port was closed and opened") << true;
        QTest::newRow("somebody held the line for a moment") << false;
    }
    void WhatIsStillOnItsWayWhenAllBecomesVoidIsNobodys()
    {
        QFETCH(bool, reopened);
        LinkFixture f;
        f.link.OpenPort();
        for (const quint8 number : {quint8(12), quint8(13)})
            f.board.On(number, 0, [number](const QByteArray &) { return Two::AnswerOf(number); });
        f.board.SetDelay(reopened ? 300ms : 600ms); // late, but not lost
        int served = 0;
        QByteArrayList wrong;
        const auto step = [](Codebas *link, int *count, QByteArrayList *others) -> Task<void> {
            for (const int number : {13, 12}) {
                Task<QByteArray> exchange = link->Exchange(Request(number), Reply::Framed(2));
                const QByteArray reply = co_await exchange;
                ++*count;
                if (reply != Two::DataOf(number))
                    others->append(QByteArray::number(number) + " got " + reply.toHex(' '));
            }
        };
        const auto hold = [](Codebas *link) -> Task<void> {
            Exchanges::HoldAwaiter turn = link->line.TakeLine();
            const Exchanges::Hold line = co_await turn;
        };
        if (reopened) { // it is known to be slow
            Result first;
            f.runner.Start(Ask(&f.link, Request(12), channel, &first));
            SOON(first.done);
        }
        f.runner.Start(step(&f.link, &served, &wrong));
        if (reopened)
            f.Reopen();
        else
            f.runner.Start(hold(&f.link));
        SOON(f.runner.Idle());
        QCOMPARE(served, 2);
        QVERIFY2(wrong.isEmpty(), wrong.join(", ").constData());
    }

    void ALostAnswerBehindOneThatIsNotToBeDisturbedIsNotWaitedForForEver()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result block;
        f.runner.Start(AskUndisturbed(&f.link, Request(45, 0, 0), Reply::Stored(), &block));
        Simulated().Run(1ms);
        f.link.line.SendUnanswered(Request(16, 0), acknowledge); // a window that closes
        f.board.On(45, 2, [](const QByteArray &) { return Bytes({6}); });
        f.board.Send(Bytes({6})); // one of the two was lost
        SOON(block.done);
        QVERIFY(f.runner.ThrewNothing());
    }

    // ---- damaged answers

    void AnAnswerDamagedByALostByteIsVoidAndAskedAgain()
    {
        Two two;
        two.board.Send(Bytes({27, 13, 0})); // its low byte was lost
        Simulated().Run(patience);
        QCOMPARE(two.Sent(), two.Both());
        two.Answers();
        two.board.Send(Two::AnswerOf(12));
        SOON(two.runner.Idle());
        QVERIFY(two.Right());
        QCOMPARE(two.Sent(), Request(12) + Request(12) + Request(13));
    }

    void AnAnswerThatWasInterruptedIsVoidEvenWhenItsRestComes()
    {
        Two two;
        two.board.Send(Two::AnswerOf(13).left(2));
        Simulated().Run(patience);
        QCOMPARE(two.Sent(), two.Both());
        two.Answers();
        two.board.Send(Two::AnswerOf(13).mid(2) + Two::AnswerOf(12));
        SOON(two.younger.done);
        QVERIFY(!two.older.done);
        SOON(two.older.done);
        QCOMPARE(two.Sent(), Request(13)); // from its escape byte
        QVERIFY(two.Right());
    }

    void ADamagedOneWaitsUntilNothingIsOwed()
    {
        Two two;
        two.board.Send(Two::AnswerOf(13).left(2));
        Simulated().Run(patience + 900ms); // the patience with the younger one is over, too
        QCOMPARE(two.Sent(), two.Both());
        two.board.Send(Two::AnswerOf(13).mid(2) + Two::AnswerOf(12));
        SOON_EQUAL(two.board.Received(), Request(13));
        two.Sent();
        QVERIFY(two.younger.done);
        two.board.Send(Two::AnswerOf(13));
        SOON(two.runner.Idle());
        QVERIFY(two.Right());
    }

    // ---- acknowledgements

    void AcknowledgementsThatNobodyWaitsForDoNotShiftLaterAnswers()
    {
        LinkFixture f;
        f.link.OpenPort();
        int told = 0;
        // Each acknowledgement is another byte.
        f.board.On(15, 1, [&told](const QByteArray &) { return Bytes({100 + ++told}); });
        for (int round = 0; round < 3; ++round) {
            f.link.line.SendUnanswered(Request(15, 0), acknowledge);
            f.link.line.SendUnanswered(Request(15, 1), acknowledge);
            Result result;
            f.runner.Start(Ask(&f.link, Request(15, 2), acknowledge, &result));
            SOON(result.done);
            QCOMPARE(result.reply, Bytes({100 + told}));
            QCOMPARE(told, 3 * (round + 1));
        }
        QCOMPARE(f.link.line.Disturbances(), 0);
    }

    void OneLostAcknowledgementFollowedByAReadHealsWithinTwoSecondsAndAHalf_data()
    {
        QTest::addColumn<bool>("awaited");
        QTest::newRow("of a write that somebody waits for") << true;
        QTest::newRow("of a write that nobody waits for") << false;
    }
    void OneLostAcknowledgementFollowedByAReadHealsWithinTwoSecondsAndAHalf()
    {
        QFETCH(bool, awaited);
        LinkFixture f;
        f.link.OpenPort();
        f.board.Healthy();
        f.board.channel = {{13, 522}, {12, 700}};
        int writes = 0;
        f.board.On(15, 1, [&writes](const QByteArray &) { return ++writes == 1 ? QByteArray() : Bytes({6}); });
        Result write;
        Result read;
        Result nextRead;
        const Stopwatch watch;
        if (awaited)
            f.runner.Start(Ask(&f.link, Request(15, 0), acknowledge, &write));
        else
            f.link.line.SendUnanswered(Request(15, 0), acknowledge);
        f.runner.Start(Ask(&f.link, Request(13), channel, &read));
        SOON(f.runner.Idle());
        f.runner.Start(Ask(&f.link, Request(12), channel, &nextRead));
        SOON(f.runner.Idle());
        QVERIFY2(watch.Elapsed() <= 2500ms, qPrintable(QString::number(watch.Elapsed() / 1ms)));
        QCOMPARE(read.reply, Bytes({2, 10, 0}));
        QCOMPARE(nextRead.reply, Bytes({700 / 256, 700 % 256, 0}));
        QCOMPARE(write.done, awaited);
        QCOMPARE(writes, awaited ? 2 : 1);
        QVERIFY(f.link.line.Idle());
    }

    void OneThatIsToldOfALostAcknowledgement()
    {
        LinkFixture f;
        f.link.OpenPort();
        QList<bool> answered;
        const auto note = [&answered](bool whether) { answered.append(whether); };
        f.link.line.SendUnanswered(Request(15, 0), acknowledge, note);
        f.link.line.SendUnanswered(Request(17, 0), acknowledge, note);
        f.board.Send(Bytes({6})); // one of two
        Simulated().Run(lost - 1ms);
        QCOMPARE(answered, QList<bool>{true}); // the first that comes belongs to the first
        Simulated().Run(1ms);
        QCOMPARE(answered, (QList<bool>{true, false}));
        SOON(f.link.line.Idle());
        QCOMPARE(f.link.line.Disturbances(), 1);
    }

    void AloneEvenAnUnawaitedAcknowledgementIsGivenUpAfterASecond()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.line.SendUnanswered(Request(15, 0), acknowledge);
        Simulated().Run(lost + quiet);
        QVERIFY(f.link.line.Idle());
        QCOMPARE(f.board.Received(), Bytes({27, 15, 0})); // it is not sent again: nobody wants it any more
    }

    // ---- handlers that end

    void AHandlerDroppedInMidExchangeLeavesItsAnswerOwedToNobody_data()
    {
        QTest::addColumn<bool>("olderEnds");
        QTest::newRow("the one who was overtaken") << true;
        QTest::newRow("the one who overtook") << false;
    }
    void AHandlerDroppedInMidExchangeLeavesItsAnswerOwedToNobody()
    {
        QFETCH(bool, olderEnds);
        LinkFixture f;
        f.link.OpenPort();
        Result older;
        Result younger;
        Runner doomed;
        (olderEnds ? doomed : f.runner).Start(Ask(&f.link, Request(13), channel, &older));
        (olderEnds ? f.runner : doomed).Start(Ask(&f.link, Request(12), channel, &younger));
        Simulated().Run(patience);
        QCOMPARE(f.board.TakeReceived(), Bytes({27, 13, 27, 12}));
        doomed.Drop();
        f.board.Send(Two::AnswerOf(13) + Two::AnswerOf(12));
        SOON(f.runner.Idle());
        QCOMPARE(older.done, !olderEnds);
        QCOMPARE(younger.done, olderEnds);
        QCOMPARE(olderEnds ? younger.reply : older.reply, Two::DataOf(olderEnds ? 12 : 13));
        QVERIFY(f.link.line.Idle());
    }

    void AHandlerDroppedByTheDoingOfAnotherThatIsAnswered()
    {
        LinkFixture f;
        f.link.OpenPort();
        const auto askAndDrop = [](Codebas *link, Runner *doomed, bool *done) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(Request(12), Reply::Framed(2));
            co_await exchange;
            doomed->Drop();
            *done = true;
        };
        Result older;
        bool done = false;
        Runner doomed;
        doomed.Start(Ask(&f.link, Request(13), channel, &older));
        f.runner.Start(askAndDrop(&f.link, &doomed, &done));
        Simulated().Run(patience);
        f.board.Send(Two::AnswerOf(13) + Two::AnswerOf(12)); // the younger goes on first
        SOON(done);
        QVERIFY(!older.done);
        SOON(f.link.line.Idle());
    }

    // ---- all of it at random

    void NobodyEverGetsTheAnswerToAnothersRequest()
    {
        int disturbances = 0;
        for (quint32 seed = 0; seed < 3000; ++seed) {
            ProgramLink program;
            UnreliableBoard board(*program.port, seed);
            program.link.InitSerialPort();
            program.link.OpenPort();
            int asked = 0;
            int served = 0;
            int ofNoInterest = 0;
            QByteArrayList wrong;
            Runner runner;
            Runner doomed;
            // Steps of several exchanges, clicks between them and writes that nobody waits for; some handlers end
            // before they are answered.
            const int handlers = 4 + board.Upto(6);
            for (int i = 0; i < handlers; ++i) {
                const bool ends = board.Chance(6);
                const int times = board.Chance(2) ? 1 : 1 + board.Upto(4);
                asked += ends ? 0 : times;
                (ends ? doomed : runner)
                    .Start(AskForMine(&program.link, 30 + i, times, ends ? &ofNoInterest : &served, &wrong));
                program.clock.Run(board.Upto(board.Chance(3) ? 1500 : 100) * 1ms);
                if (board.Chance(5))
                    doomed.Drop();
                if (board.Chance(8))
                    program.link.line.SendUnanswered(Request(15, 0), acknowledge);
            }
            doomed.Drop();
            program.clock.Run(3s);
            board.Recover();
            // Whoever is alone is waited for without end; a watch asks again.
            for (int look = 0; look < 3 && !runner.Idle(); ++look) {
                program.clock.RunUntil([&] { return runner.Idle(); }, 10s);
                if (program.link.line.Silence() >= 10s)
                    program.link.line.AskAgain();
            }
            program.clock.Run(10s);
            QVERIFY2(wrong.isEmpty(),
                     qPrintable(QStringLiteral("seed %1: %2").arg(seed).arg(wrong.value(0).constData())));
            QVERIFY2(runner.Idle(), qPrintable(QStringLiteral("seed %1: somebody was not served").arg(seed)));
            QCOMPARE(served, asked);
            QVERIFY2(program.link.line.Idle(), qPrintable(QStringLiteral("seed %1").arg(seed)));
            disturbances += program.link.line.Disturbances();
        }
        QVERIFY2(disturbances > 3000, "hardly anything has happened");
    }
};

REGISTER_TEST(TestLostAnswers)
#include "tst_lostanswers.moc"
