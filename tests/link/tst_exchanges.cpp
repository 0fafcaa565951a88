// SPDX-License-Identifier: GPL-3.0-or-later
#include "asking.h"
#include "base/flag.h"
#include "support/suite.h"

#include <QtTest>

#include <memory>
#include <optional>

namespace {
constexpr auto patience = 250ms;
const auto acknowledge = Reply::Acknowledge();
const auto channel = Reply::Framed(2);

/// A step of several exchanges, one right after the other.
Task<void> Step(Codebas *link, QByteArray channels, std::vector<QByteArray> *replies)
{
    for (const char number : channels) {
        Task<QByteArray> exchange = link->Exchange(Request(number), channel);
        const QByteArray reply = co_await exchange;
        replies->push_back(reply);
    }
}

/// The same by a handler that begins to ask when it is woken.
Task<void> StepLater(Codebas *link, Flag *wake, QByteArray channels, std::vector<QByteArray> *replies)
{
    co_await *wake;
    Task<void> step = Step(link, channels, replies);
    co_await step;
}

Task<void> AskRepeatedly(Codebas *link, int times, QByteArray request, Reply reply, std::function<bool()> wanted,
                         Exchanges::Overtaking overtaking, Result *result)
{
    Task<QByteArray> repeat = link->Repeat(times, request, reply, wanted, overtaking);
    result->reply = co_await repeat;
    result->done = true;
}

/// Holds the line from when it is given until the flag is set.
Task<void> HoldLine(Codebas *link, Exchanges::Place place, Flag *release, bool *has)
{
    Exchanges::HoldAwaiter turn = link->line.TakeLine(place);
    const Exchanges::Hold hold = co_await turn;
    *has = true;
    co_await *release;
    *has = false;
}

/// An open port and handlers that ask one after the other.
struct Talk : LinkFixture
{
    Talk() { link.OpenPort(); }

    /// A new handler asks, younger than all before.
    void Ask(const QByteArray &request, const Reply &reply, Result &result)
    {
        runner.Start(::Ask(&link, request, reply, &result));
    }
    /// Everything sent since the last time.
    QByteArray Sent() { return board.TakeReceived(); }
};
} // namespace

class TestExchanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- what a request and its answer are

    void RequestsBeginWithTheEscapeByte()
    {
        QCOMPARE(Request(13), Bytes({27, 13}));
        QCOMPARE(Request(37, 15), Bytes({27, 37, 15}));
        QCOMPARE(Request(49, 255, 0, 200), Bytes({27, 49, 255, 0, 200}));
    }

    void AReadTakesTheFrameAndTheByteThatSaysNothing()
    {
        Talk t;
        Result result;
        t.Ask(Request(13), channel, result);
        QCOMPARE(t.board.Received(), Bytes({27, 13})); // a free line is given at once
        t.board.Send(Bytes({0x41, 0x42, 27}));
        Simulated().Run(10ms);
        QCOMPARE(t.com.InBufferCount(), 0);
        QVERIFY(!result.done);
        t.board.Send(Bytes({27, 10}));
        Simulated().Run(10ms);
        QVERIFY(!result.done); // the byte that says nothing is waited for
        t.board.Send(Bytes({99}));
        SOON(result.done);
        QCOMPARE(result.reply.left(2), Bytes({27, 10})); // a 27 behind the leading one is data
        QCOMPARE(t.com.InBufferCount(), 0);
        QCOMPARE(t.board.Received(), Bytes({27, 13}));
    }

    void AnAcknowledgementIsAnyByte_data()
    {
        QTest::addColumn<int>("byte");
        QTest::newRow("6") << 6;
        QTest::newRow("27") << 27;
        QTest::newRow("0") << 0;
    }
    void AnAcknowledgementIsAnyByte()
    {
        QFETCH(int, byte);
        Talk t;
        Result result;
        t.Ask(Request(15, 1), acknowledge, result);
        QCOMPARE(t.board.Received(), Bytes({27, 15, 1}));
        QVERIFY(!result.done);
        t.board.Send(Bytes({byte}));
        SOON(result.done);
        QCOMPARE(result.reply, Bytes({byte}));
    }

    void AStoreEndsWithASix()
    {
        Talk t;
        Result result;
        t.Ask(Request(39, 0, 5), Reply::Stored(), result);
        QCOMPARE(t.board.Received(), Bytes({27, 39, 0, 5}));
        t.board.Send(Bytes({27, 0, 7}));
        Simulated().Run(10ms);
        QCOMPARE(t.com.InBufferCount(), 0);
        QVERIFY(!result.done);
        t.board.Send(Bytes({6}));
        SOON(result.done);
        QCOMPARE(result.reply, QByteArray());
    }

    void WhatWaitsBeforeARequestIsDropped()
    {
        Talk t;
        t.board.Send(Bytes({27, 1, 2, 0}));
        QVERIFY(t.Arrived(4));
        Result result;
        t.Ask(Request(13), channel, result);
        Simulated().Run(10ms);
        QVERIFY(!result.done);
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(result.done);
        QCOMPARE(result.reply, Bytes({3, 4, 0}));
    }

    void WhatComesWhenNothingIsOwedIsNobodys()
    {
        Talk t;
        t.board.Send(Bytes({27, 1, 2, 0}));
        Simulated().Run(10ms); // it was told of, and left where it is
        QCOMPARE(t.com.InBufferCount(), 4);
        t.board.Healthy();
        t.board.channel[13] = 522;
        Result result;
        t.Ask(Request(13), channel, result);
        SOON(result.done);
        QCOMPARE(result.reply, Bytes({2, 10, 0}));
    }

    void AClearedFrameWantsItsOwn27()
    {
        Talk t;
        Result first;
        Result second;
        t.Ask(Request(13), channel, first);
        t.board.Send(Bytes({27, 1, 2, 27})); // the byte that says nothing looks like a frame
        SOON(first.done);
        t.Ask(Request(12), channel, second);
        t.board.Send(Bytes({3, 4, 0}));
        Simulated().Run(1s);
        QVERIFY(!second.done);
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(second.done);
        QCOMPARE(second.reply, Bytes({3, 4, 0}));
    }

    void AnUnclearedFrameTakesThe27ThatEndedTheReplyBefore()
    {
        Talk t;
        Result first;
        Result second;
        Result third;
        const Reply uncleared{.until = quint8(27), .length = 3, .clearFirst = false};
        t.Ask(Request(13), channel, first);
        t.board.Send(Bytes({27, 1, 2, 27}));
        SOON(first.done);
        t.Ask(Request(12), uncleared, second);
        t.board.Send(Bytes({3, 4, 5}));
        SOON(second.done);
        QCOMPARE(second.reply, Bytes({3, 4, 5}));
        t.Ask(Request(12), uncleared, third); // the last byte was none
        t.board.Send(Bytes({3, 4, 5}));
        Simulated().Run(10ms);
        QVERIFY(!third.done);
        t.board.Send(Bytes({27, 6, 7, 8}));
        SOON(third.done);
        QCOMPARE(third.reply, Bytes({6, 7, 8}));
    }

    void NobodyWaitsForASpareByte()
    {
        Talk t;
        const Reply spare{.until = quint8(27), .length = 2, .spare = 1};
        Result first;
        Result second;
        t.Ask(Request(41), spare, first);
        t.board.Send(Bytes({27, 1, 2}));
        SOON(first.done);
        QCOMPARE(first.reply, Bytes({1, 2}));
        t.Ask(Request(15, 0), acknowledge, second);
        Simulated().Run(10ms);
        QCOMPARE(t.Sent(), Bytes({27, 41})); // it is on its way
        t.board.Send(Bytes({99}));
        SOON_EQUAL(t.board.Received(), Bytes({27, 15, 0}));
        t.Sent();
        t.board.Send(Bytes({6}));
        SOON(second.done);
        QCOMPARE(second.reply, Bytes({6})); // not the spare byte
    }

    void ASpareByteThatNeverComesHoldsUpForTheUsualSilenceOnly()
    {
        Talk t;
        const Reply spare{.until = quint8(27), .length = 2, .spare = 1};
        Result first;
        Result second;
        t.Ask(Request(41), spare, first);
        t.board.Send(Bytes({27, 1, 2}));
        SOON(first.done);
        t.Sent();
        t.Ask(Request(15, 0), acknowledge, second);
        Simulated().Run(patience - 1ms);
        QCOMPARE(t.Sent(), QByteArray());
        Simulated().Run(2ms);
        QCOMPARE(t.Sent(), Bytes({27, 15, 0}));
        t.board.Send(Bytes({6}));
        SOON(second.done);
        QCOMPARE(t.link.line.Disturbances(), 0);
    }

    // ---- whose turn it is

    void ExchangesNeverMix()
    {
        Talk t;
        Result first;
        Result second;
        t.Ask(Request(6), channel, first);
        t.Ask(Request(7), channel, second);
        Simulated().Run(20ms);
        QCOMPARE(t.board.Received(), Bytes({27, 6}));
        t.board.Send(Bytes({27, 1}));
        Simulated().Run(20ms);
        QCOMPARE(t.board.Received(), Bytes({27, 6}));
        t.board.Send(Bytes({2, 0}));
        SOON_EQUAL(t.board.Received(), Bytes({27, 6, 27, 7}));
        QVERIFY(first.done);
        QVERIFY(!second.done);
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(second.done);
        QCOMPARE(first.reply.left(2), Bytes({1, 2}));
        QCOMPARE(second.reply.left(2), Bytes({3, 4}));
        QVERIFY(t.link.line.Idle());
        QCOMPARE(t.link.line.Disturbances(), 0);
    }

    void TheYoungestGoesFirst()
    {
        Talk t;
        t.board.Healthy();
        Result results[4];
        for (int i = 0; i < 4; ++i)
            t.Ask(Request(5 + i), channel, results[i]);
        SOON(t.runner.Idle());
        QCOMPARE(t.board.Received(), Bytes({27, 5, 27, 8, 27, 7, 27, 6}));
    }

    void AClickGoesBetweenTwoExchangesOfAStep()
    {
        Talk t;
        t.board.Healthy();
        t.board.channel = {{5, 500}, {6, 600}, {7, 700}};
        std::vector<QByteArray> replies;
        Result click;
        t.runner.Start(Step(&t.link, Bytes({5, 6, 7}), &replies));
        t.Ask(Request(15, 0), acknowledge, click);
        SOON(t.runner.Idle());
        QCOMPARE(t.board.Received(), Bytes({27, 5, 27, 15, 0, 27, 6, 27, 7}));
        QCOMPARE(replies.size(), size_t(3));
        QCOMPARE(replies[0].left(2), Bytes({1, 244}));
        QCOMPARE(replies[1].left(2), Bytes({2, 88}));
        QCOMPARE(replies[2].left(2), Bytes({2, 188}));
    }

    void AClickOfSeveralExchangesGoesBeforeTheStepThatItInterrupted()
    {
        Talk t;
        t.board.Healthy();
        std::vector<QByteArray> replies;
        t.runner.Start(Step(&t.link, Bytes({5, 6, 7}), &replies));
        t.runner.Start(Step(&t.link, Bytes({10, 11}), &replies));
        SOON(t.runner.Idle());
        QCOMPARE(t.board.Received(), Bytes({27, 5, 27, 10, 27, 11, 27, 6, 27, 7}));
    }

    void ConsecutiveExchangesKeepTheLineAheadOfOlderHandlers()
    {
        Talk t;
        t.board.Healthy();
        std::vector<QByteArray> replies;
        Flag wake;
        t.runner.Start(StepLater(&t.link, &wake, Bytes({10}), &replies));
        t.runner.Start(Step(&t.link, Bytes({5, 6, 7}), &replies));
        wake.Set(); // the older one wants the line while the younger one has it
        SOON(t.runner.Idle());
        QCOMPARE(t.board.Received(), Bytes({27, 5, 27, 6, 27, 7, 27, 10}));
    }

    void OneThatIsNotWantedAnyMoreSendsNothing()
    {
        Talk t;
        t.board.Healthy();
        Result result;
        const std::function<bool()> never = [] { return false; };
        t.runner.Start(AskIf(&t.link, never, Request(15, 1), acknowledge, &result));
        QVERIFY(result.done);
        QCOMPARE(result.reply, QByteArray());
        Result next;
        t.Ask(Request(16, 1), acknowledge, next);
        SOON(next.done);
        QCOMPARE(t.board.Received(), Bytes({27, 16, 1}));
    }

    void WhetherItIsWantedIsAskedWhenItsTurnComes()
    {
        Talk t;
        bool wanted = true;
        int asked = 0;
        const std::function<bool()> ask = [&] {
            ++asked;
            return wanted;
        };
        Result first;
        Result second;
        t.Ask(Request(13), channel, first);
        t.runner.Start(AskIf(&t.link, ask, Request(15, 1), acknowledge, &second));
        Simulated().Run(10ms);
        QCOMPARE(t.board.Received(), Bytes({27, 13}));
        QCOMPARE(asked, 0);
        wanted = false;
        t.board.Send(Bytes({27, 1, 2, 0}));
        SOON(second.done);
        QCOMPARE(asked, 1);
        QCOMPARE(t.board.Received(), Bytes({27, 13}));
    }

    void ARequestIsMadeWhenTheLineIsFreeAndOnlyOnce()
    {
        Talk t;
        Result first;
        Result made;
        int times = 0;
        const std::function<QByteArray()> make = [&times] { return Request(20, ++times); };
        const auto ask = [](Codebas *link, std::function<QByteArray()> request, Result *result) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(request, Reply::Acknowledge());
            result->reply = co_await exchange;
            result->done = true;
        };
        t.Ask(Request(13), channel, first);
        t.runner.Start(ask(&t.link, make, &made));
        Simulated().Run(10ms);
        QCOMPARE(times, 0);
        t.board.Send(Bytes({27, 1, 2, 0}));
        SOON(first.done);
        Simulated().Run(10ms);
        QCOMPARE(t.Sent(), Bytes({27, 13, 27, 20, 1}));
        t.Reopen();
        SOON_EQUAL(t.board.Received(), Bytes({27, 20, 1}));
        t.Sent(); // asked again: the same
        t.board.Send(Bytes({6}));
        SOON(made.done);
    }

    // ---- several in a row

    void NothingGoesBetweenTheRequestsOfARepetition()
    {
        Talk t;
        t.board.Healthy();
        int clock = 0;
        t.board.On(41, 0, [&clock](const QByteArray &) { return Bytes({27, ++clock, 0, 0, 0}); });
        Result repeated;
        Result click;
        t.runner.Start(
            AskRepeatedly(&t.link, 3, Request(41), Reply::Framed(3), {}, Exchanges::Overtaking::Allowed, &repeated));
        t.Ask(Request(15, 0), acknowledge, click);
        SOON(t.runner.Idle());
        QCOMPARE(t.board.Received(), Bytes({27, 41, 27, 41, 27, 41, 27, 15, 0}));
        QCOMPARE(repeated.reply, Bytes({1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0}));
    }

    void ARepetitionEndsWhenItIsNotWantedAnyMore()
    {
        Talk t;
        Result repeated;
        bool wanted = true;
        const std::function<bool()> ask = [&wanted] { return wanted; };
        t.runner.Start(AskRepeatedly(&t.link, 3, Request(13), channel, ask, Exchanges::Overtaking::Refused, &repeated));
        t.board.Send(Bytes({27, 1, 2, 0}));
        SOON_EQUAL(t.board.Received(), Bytes({27, 13, 27, 13}));
        wanted = false;
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(repeated.done);
        QCOMPARE(repeated.reply, Bytes({1, 2, 0, 3, 4, 0}));
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 13}));
    }

    void ARepetitionDamagedInTheMiddleBeginsAgainAtItsFirst()
    {
        Talk t;
        int asked = 0;
        t.board.On(13, 0, [&asked](const QByteArray &) {
            const QByteArray whole = Bytes({27, ++asked, 0, 0});
            return asked == 2 ? whole.left(2) : whole;
        });
        t.board.On(15, 1, [](const QByteArray &) { return Bytes({0, 0, 6}); }); // the rest of that, late
        Result repeated;
        Result click;
        t.runner.Start(AskRepeatedly(&t.link, 3, Request(13), channel, {}, Exchanges::Overtaking::Allowed, &repeated));
        t.Ask(Request(15, 0), acknowledge, click);
        SOON(t.runner.Idle());
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 13, 27, 15, 0, 27, 13, 27, 13, 27, 13}));
        QCOMPARE(click.reply, Bytes({6}));
        QCOMPARE(repeated.reply, Bytes({3, 0, 0, 4, 0, 0, 5, 0, 0}));
    }

    void NobodyGoesBetweenTheRequestsOfAnUndisturbedRepetition()
    {
        Talk t;
        Result repeated;
        Result click;
        t.runner.Start(AskRepeatedly(&t.link, 2, Request(13), channel, {}, Exchanges::Overtaking::Refused, &repeated));
        t.Ask(Request(15, 0), acknowledge, click);
        Simulated().Run(10s);
        t.board.Send(Bytes({27, 1, 2, 0}));
        Simulated().Run(10s);
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 13}));
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(repeated.done);
        Simulated().Run(1ms);
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 13, 27, 15, 0}));
    }

    // ---- who must not be interrupted

    void AnUndisturbedExchangeKeepsTheLine()
    {
        Talk t;
        Result undisturbed;
        Result other;
        t.runner.Start(AskUndisturbed(&t.link, Request(13), channel, &undisturbed));
        QVERIFY(t.link.line.IsUndisturbed());
        t.Ask(Request(15, 0), acknowledge, other);
        Simulated().Run(1h);
        QCOMPARE(t.board.Received(), Bytes({27, 13}));
        t.board.Send(Bytes({27, 1, 2, 0}));
        SOON_EQUAL(t.board.Received(), Bytes({27, 13, 27, 15, 0}));
        QVERIFY(undisturbed.done);
        QVERIFY(!t.link.line.IsUndisturbed());
        QCOMPARE(t.link.line.Disturbances(), 0);
    }

    void OneThatRefusesToBeOvertakenMayOvertake()
    {
        Talk t;
        Result silent;
        Result undisturbed;
        Result third;
        t.Ask(Request(13), channel, silent);
        t.runner.Start(AskUndisturbed(&t.link, Request(12), channel, &undisturbed));
        Simulated().Run(patience);
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 12}));
        t.Ask(Request(15, 0), acknowledge, third);
        Simulated().Run(999ms);
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 12}));
        t.board.Send(Bytes({27, 1, 2, 0, 27, 3, 4, 0}));
        SOON_EQUAL(t.board.Received(), Bytes({27, 13, 27, 12, 27, 15, 0}));
        QCOMPARE(silent.reply, Bytes({1, 2, 0}));
        QCOMPARE(undisturbed.reply, Bytes({3, 4, 0}));
    }

    void OneThatWaitsBehindALostAnswerIsAskedAgain()
    {
        Talk t;
        Result older;
        Result undisturbed;
        t.Ask(Request(13), channel, older);
        t.runner.Start(AskUndisturbed(&t.link, Request(12), channel, &undisturbed));
        Simulated().Run(patience);
        QCOMPARE(t.Sent(), Bytes({27, 13, 27, 12}));
        t.board.Healthy();
        t.board.channel = {{13, 1300}, {12, 1200}};
        t.board.Send(Bytes({27, 1200 / 256, 1200 % 256, 0})); // that to the younger one: the other was lost
        SOON(t.runner.Idle());
        QCOMPARE(t.Sent(), Bytes({27, 12, 27, 12, 27, 13})); // the first answer only shows that the board is there
        QCOMPARE(older.reply, Bytes({1300 / 256, 1300 % 256, 0}));
        QCOMPARE(undisturbed.reply, Bytes({1200 / 256, 1200 % 256, 0}));
    }

    void OneThatIsNotWantedAnyMoreMayBeOvertakenAfterAll()
    {
        Talk t;
        Result repeated;
        Result click;
        bool wanted = true;
        const std::function<bool()> ask = [&wanted] { return wanted; };
        t.runner.Start(AskRepeatedly(&t.link, 2, Request(13), channel, ask, Exchanges::Overtaking::Refused, &repeated));
        t.Ask(Request(15, 0), acknowledge, click);
        Simulated().Run(10s);
        QCOMPARE(t.board.Received(), Bytes({27, 13}));
        wanted = false;
        t.link.line.Reconsider();
        Simulated().Run(1ms);
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 15, 0}));
    }

    void AnUndisturbedReaderThatIsDroppedLetsTheOthersIn()
    {
        Talk t;
        Result undisturbed;
        Result other;
        Runner doomed;
        doomed.Start(AskUndisturbed(&t.link, Request(13), channel, &undisturbed));
        t.Ask(Request(15, 0), acknowledge, other);
        Simulated().Run(10s);
        QCOMPARE(t.board.Received(), Bytes({27, 13}));
        doomed.Drop();
        Simulated().Run(1ms);
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 15, 0}));
    }

    // ---- handlers that end

    void AHandlerThatEndsGivesTheLineBack()
    {
        Talk t;
        Result doomed;
        Result waiting;
        Result next;
        Runner other;
        other.Start(Ask(&t.link, Request(13), channel, &doomed));
        other.Start(Ask(&t.link, Request(12), channel, &waiting));
        t.Ask(Request(15, 0), acknowledge, next);
        other.Drop(); // one that talks and one that waits
        SOON_EQUAL(t.board.Received(), Bytes({27, 13, 27, 15, 0}));
        t.Sent();
        t.board.Send(Bytes({27, 1, 2, 0, 6}));
        SOON(next.done);
        QCOMPARE(next.reply, Bytes({6}));
        QVERIFY(!doomed.done);
        QVERIFY(!waiting.done);
        QVERIFY(t.link.line.Idle());
    }

    void TheAnswerOfOneThatEndedIsNobodyElses()
    {
        Talk t;
        Result doomed;
        Result next;
        Runner other;
        other.Start(Ask(&t.link, Request(13), channel, &doomed));
        t.board.Send(Bytes({27, 1}));
        Simulated().Run(10ms);
        other.Drop();
        t.Ask(Request(12), channel, next);
        Simulated().Run(100ms);
        QCOMPARE(t.Sent(), Bytes({27, 13})); // the answer may still come
        t.board.Send(Bytes({2, 0}));
        SOON_EQUAL(t.board.Received(), Bytes({27, 12}));
        t.Sent();
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(next.done);
        QCOMPARE(next.reply, Bytes({3, 4, 0}));
        QCOMPARE(t.link.line.Disturbances(), 0);
    }

    void ARequestWhoseAnswerNobodyWaitsForGoesOutAtOnce()
    {
        Talk t;
        Result reader;
        t.Ask(Request(13), channel, reader);
        std::optional<bool> answered;
        t.link.line.SendUnanswered(Request(15, 0), acknowledge, [&answered](bool whether) { answered = whether; });
        t.link.line.SendUnanswered(Request(18, 1), acknowledge);
        QCOMPARE(t.board.Received(), Bytes({27, 13, 27, 15, 0, 27, 18, 1})); // before any event runs
        QVERIFY(t.link.line.Doubtful());
        t.board.Send(Bytes({27, 1, 2, 0, 6}));
        Simulated().Run(10ms);
        QVERIFY(!reader.done); // until all has come nobody knows whose it is
        t.board.Send(Bytes({6}));
        SOON(reader.done);
        QCOMPARE(reader.reply, Bytes({1, 2, 0}));
        QVERIFY(answered.has_value() && *answered);
        QVERIFY(!t.link.line.Doubtful());
    }

    void WhatIsSentOnAClosedOrLostPortIsToldToBeUnanswered()
    {
        Talk t;
        int unanswered = 0;
        const auto done = [&unanswered](bool answered) { unanswered += answered ? 0 : 1; };
        t.board.Unplug();
        SOON(t.com.Lost());
        t.link.line.SendUnanswered(Request(15, 0), acknowledge, done);
        QCOMPARE(unanswered, 1);
        t.ClosePort();
        t.link.line.SendUnanswered(Request(15, 0), acknowledge, done);
        QCOMPARE(unanswered, 2);
        QCOMPARE(t.board.Received(), QByteArray());
    }

    // ---- closed and lost ports

    void StartsAgainWhenThePortWasClosedAndOpened()
    {
        Talk t;
        Result result;
        t.Ask(Request(13), channel, result);
        t.board.Send(Bytes({27, 1}));
        Simulated().Run(10ms);
        QCOMPARE(t.Sent(), Bytes({27, 13}));
        t.Reopen();
        SOON_EQUAL(t.board.Received(), Bytes({27, 13}));
        t.Sent();
        t.board.Send(Bytes({27, 2, 2, 0})); // a sign of life: the rest of the first answer might still have come
        SOON_EQUAL(t.board.Received(), Bytes({27, 13}));
        t.Sent();
        QVERIFY(!result.done);
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(result.done);
        QCOMPARE(result.reply, Bytes({3, 4, 0})); // nothing of the first answer
        QVERIFY(t.runner.ThrewNothing());
    }

    void TheAnswerToTheFirstRequestIsNotTakenForThatToTheSecond()
    {
        Talk t;
        std::vector<QByteArray> replies;
        t.runner.Start(Step(&t.link, Bytes({13, 12}), &replies));
        QCOMPARE(t.Sent(), Bytes({27, 13}));
        t.Reopen();
        t.board.Send(Bytes({27, 1, 2, 0})); // it was on its way when the port was closed
        SOON_EQUAL(t.board.Received(), Bytes({27, 13}));
        t.Sent();
        t.board.Send(Bytes({27, 1, 3, 0}));
        SOON_EQUAL(t.board.Received(), Bytes({27, 12}));
        t.Sent();
        t.board.Send(Bytes({27, 4, 5, 0}));
        SOON(t.runner.Idle());
        QCOMPARE(replies.size(), size_t(2));
        QCOMPARE(replies[0].left(2), Bytes({1, 3}));
        QCOMPARE(replies[1].left(2), Bytes({4, 5})); // not the leftover of channel 13
    }

    /// The states in which exchanges may be when the port goes away.
    static void States()
    {
        QTest::addColumn<QString>("state");
        for (const char *state : {"asked", "touched", "waiting", "overtaken", "damaged", "draining", "unanswered"})
            QTest::newRow(state) << QString::fromLatin1(state);
    }
    /// In some of them an answer may have been given up that still comes.
    static bool Doubtful(const QString &state)
    {
        static const QStringList doubtful{QStringLiteral("touched"), QStringLiteral("overtaken"),
                                          QStringLiteral("damaged"), QStringLiteral("draining"),
                                          QStringLiteral("unanswered")};
        return doubtful.contains(state);
    }
    /// Where there is a doubt the first answer is only a sign of life.
    static QByteArray AskedAgain(bool doubt)
    {
        return (doubt ? Request(12) : QByteArray()) + Bytes({27, 12, 27, 13}); // the younger first
    }
    /// Brings two handlers, who ask for 13 and, younger, for 12, into one of them.
    static void BringTo(const QString &state, Talk &t, Result &older, Result &younger)
    {
        t.Ask(Request(13), channel, older);
        if (state == QLatin1String("touched") || state == QLatin1String("damaged"))
            t.board.Send(Bytes({27, 1}));
        Simulated().Run(1ms);
        t.Ask(Request(12), channel, younger);
        if (state == QLatin1String("unanswered"))
            t.link.line.SendUnanswered(Request(15, 0), acknowledge);
        Simulated().Run(state == QLatin1String("overtaken") || state == QLatin1String("damaged") ? 300ms
                        : state == QLatin1String("draining")                                     ? patience + 1s
                                                                                                 : 1ms);
        t.Sent();
    }

    void ClosedAndOpenedInAnyStateEverybodyIsServed_data() { States(); }
    void ClosedAndOpenedInAnyStateEverybodyIsServed()
    {
        QFETCH(QString, state);
        Talk t;
        Result older;
        Result younger;
        BringTo(state, t, older, younger);
        t.board.Healthy();
        t.board.channel = {{13, 1300}, {12, 1200}};
        t.board.SetSilent(true);
        t.Reopen();
        t.board.SetSilent(false);
        SOON(t.runner.Idle());
        QVERIFY(t.runner.ThrewNothing());
        QCOMPARE(t.Sent(), AskedAgain(Doubtful(state)));
        QCOMPARE(older.reply, Bytes({1300 / 256, 1300 % 256, 0}));
        QCOMPARE(younger.reply, Bytes({1200 / 256, 1200 % 256, 0}));
        QVERIFY(t.link.line.Idle());
    }

    void ClosedForGoodInAnyStateEverybodyIsTold_data() { States(); }
    void ClosedForGoodInAnyStateEverybodyIsTold()
    {
        QFETCH(QString, state);
        Talk t;
        Result older;
        Result younger;
        BringTo(state, t, older, younger);
        t.ClosePort();
        SOON(t.runner.Idle());
        QCOMPARE(t.runner.Failures(), 2);
        QVERIFY(!older.done);
        QVERIFY(!younger.done);
        QVERIFY(t.link.line.Idle());

        // Nothing of it is left when it is open again.
        t.Sent();
        t.link.OpenPort();
        Simulated().Run(10s);
        QCOMPARE(t.Sent(), QByteArray());
    }

    void LostInAnyStateEverybodyWaitsForItsReturn_data() { States(); }
    void LostInAnyStateEverybodyWaitsForItsReturn()
    {
        QFETCH(QString, state);
        Talk t;
        Result older;
        Result younger;
        BringTo(state, t, older, younger);
        t.board.Unplug();
        SOON(t.com.Lost());
        Simulated().Run(1h);
        QVERIFY(t.runner.ThrewNothing());
        QVERIFY(!older.done && !younger.done);
        QCOMPARE(t.Sent(), QByteArray());
        t.board.Healthy();
        t.board.channel = {{13, 1300}, {12, 1200}};
        t.board.Plug();
        SOON(t.runner.Idle());
        QVERIFY(t.runner.ThrewNothing());
        QCOMPARE(t.Sent(), AskedAgain(true)); // whatever the board owed may come behind its return
        QCOMPARE(older.reply, Bytes({1300 / 256, 1300 % 256, 0}));
        QCOMPARE(younger.reply, Bytes({1200 / 256, 1200 % 256, 0}));
    }

    void AClosedPortRefusesEverybodyAtOnce()
    {
        LinkFixture f;
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), channel, &result));
        QVERIFY(f.runner.Idle());
        QVERIFY(f.runner.Threw<PortClosed>());
        QVERIFY(!result.done);
    }

    void ThePortClosedAgainBeforeItStartsAgain()
    {
        Talk t;
        Result result;
        t.Ask(Request(13), channel, result);
        t.Reopen();
        t.ClosePort();
        SOON(t.runner.Idle());
        QVERIFY(t.runner.Threw<PortClosed>());
        QVERIFY(!t.com.PortOpen());
        QCOMPARE(t.Sent(), Bytes({27, 13}));
    }

    void ALostPortThatIsClosedRefusesThoseWhoWait()
    {
        Talk t;
        Result result;
        t.Ask(Request(13), channel, result);
        t.board.Unplug();
        SOON(t.com.Lost());
        t.ClosePort();
        SOON(t.runner.Idle());
        QVERIFY(t.runner.Threw<PortClosed>());
    }

    void WhetherItIsWantedIsAskedAgainWhenItStartsAgain()
    {
        Talk t;
        bool wanted = true;
        const std::function<bool()> ask = [&] { return wanted; };
        Result result;
        t.runner.Start(AskIf(&t.link, ask, Request(15, 1), acknowledge, &result));
        QCOMPARE(t.board.Received(), Bytes({27, 15, 1}));
        wanted = false;
        t.Reopen();
        SOON(result.done);
        QCOMPARE(result.reply, QByteArray());
        QCOMPARE(t.board.Received(), Bytes({27, 15, 1}));
    }

    void OneThatClosesThePortWhenItIsAnsweredDoesNotHurtTheOthers()
    {
        Talk t;
        const auto closeAfterwards = [](Codebas *link, Result *result) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(Request(12), Reply::Framed(2));
            result->reply = co_await exchange;
            Task<void> closing = link->ClosePort();
            co_await closing;
            result->done = true;
        };
        Result older;
        Result younger;
        t.Ask(Request(13), channel, older);
        t.runner.Start(closeAfterwards(&t.link, &younger));
        Simulated().Run(300ms);
        QCOMPARE(t.Sent(), Bytes({27, 13, 27, 12}));
        t.board.Send(Bytes({27, 1, 2, 0, 27, 3, 4, 0}));
        SOON(t.runner.Idle());
        QCOMPARE(younger.reply, Bytes({3, 4, 0}));
        QVERIFY(younger.done);
        QVERIFY(older.done || t.runner.Threw<PortClosed>());
        QVERIFY(t.link.line.Idle());
    }

    // ---- the line for oneself

    void WhoHoldsTheLineKeepsTheOthersWaiting()
    {
        Talk t;
        QSignalSpy wanted(&t.link.line, &Exchanges::Wanted);
        Flag release;
        bool has = false;
        Result result;
        t.runner.Start(HoldLine(&t.link, Exchanges::Place::Newest, &release, &has));
        QVERIFY(has); // a free line is given at once
        QVERIFY(t.link.line.IsHeld());
        QVERIFY(!t.link.line.IsWanted());
        t.Ask(Request(13), channel, result);
        QCOMPARE(wanted.count(), 1);
        QVERIFY(t.link.line.IsWanted());
        t.board.Send(Bytes({27, 1, 2, 0})); // for who holds it to read
        Simulated().Run(1h);
        QCOMPARE(t.com.InBufferCount(), 4);
        QCOMPARE(t.Sent(), QByteArray());
        release.Set();
        SOON_EQUAL(t.board.Received(), Bytes({27, 13}));
        t.Sent();
        QVERIFY(!has);
        Simulated().Run(10ms);
        QVERIFY(!result.done); // what waited was nobody's
        t.board.Send(Bytes({27, 3, 4, 0}));
        SOON(result.done);
    }

    void TheLineIsGivenWhenNothingIsOwed()
    {
        Talk t;
        Flag release;
        bool has = false;
        Result result;
        t.Ask(Request(13), channel, result);
        t.runner.Start(HoldLine(&t.link, Exchanges::Place::Newest, &release, &has));
        Simulated().Run(200ms);
        QVERIFY(!has);
        t.board.Send(Bytes({27, 1, 2, 0}));
        SOON(has);
        QVERIFY(result.done);
        QCOMPARE(t.link.line.Disturbances(), 0);
    }

    void ASilentBoardDoesNotKeepTheLineFromWhoWantsToHoldIt()
    {
        Talk t;
        Flag release;
        bool has = false;
        Result silent;
        Result waiting;
        t.Ask(Request(13), channel, silent);
        t.Ask(Request(12), channel, waiting);
        t.runner.Start(HoldLine(&t.link, Exchanges::Place::Newest, &release, &has));
        const Stopwatch watch;
        SOON(has);
        QVERIFY(watch.Elapsed() >= patience + 50ms); // on a line that was quiet for a moment
        QVERIFY(watch.Elapsed() <= patience + 60ms);
        QCOMPARE(t.Sent(), Bytes({27, 13}));
        t.board.Healthy();
        release.Set();
        SOON(t.runner.Idle());
        QCOMPARE(t.Sent(), Bytes({27, 12, 27, 12, 27, 13})); // what it cut short is asked again, behind a sign of life
    }

    void OneThatComesLastLetsTheOthersGoFirst()
    {
        Talk t;
        Flag release;
        bool has = false;
        Flag releaseLast;
        bool hasLast = false;
        Result result;
        t.runner.Start(HoldLine(&t.link, Exchanges::Place::Newest, &release, &has));
        t.Ask(Request(13), channel, result);
        t.runner.Start(HoldLine(&t.link, Exchanges::Place::Last, &releaseLast, &hasLast));
        release.Set();
        SOON_EQUAL(t.board.Received(), Bytes({27, 13}));
        t.Sent();
        QVERIFY(!hasLast);
        t.board.Send(Bytes({27, 1, 2, 0}));
        SOON(hasLast);
        QVERIFY(result.done);
    }

    void ALineThatIsHeldOutlastsClosings()
    {
        Talk t;
        Flag release;
        bool has = false;
        Result result;
        t.runner.Start(HoldLine(&t.link, Exchanges::Place::Newest, &release, &has));
        t.Ask(Request(13), channel, result);
        t.Reopen();
        Simulated().Run(10s);
        QVERIFY(has);
        QCOMPARE(t.Sent(), QByteArray());
        release.Set();
        SOON_EQUAL(t.board.Received(), Bytes({27, 13}));
        t.Sent();
    }

    void NobodyIsGivenAClosedLine()
    {
        LinkFixture f;
        Flag release;
        bool has = false;
        f.runner.Start(HoldLine(&f.link, Exchanges::Place::Newest, &release, &has));
        QVERIFY(f.runner.Threw<PortClosed>());
        QVERIFY(!has);
    }

    void WhoHoldsTheLineReadsTheAnswersToWhatIsSentUnanswered()
    {
        Talk t;
        Flag release;
        bool has = false;
        std::optional<bool> answered;
        t.runner.Start(HoldLine(&t.link, Exchanges::Place::Newest, &release, &has));
        t.link.line.SendUnanswered(Request(15, 0), acknowledge, [&answered](bool whether) { answered = whether; });
        QCOMPARE(t.Sent(), Bytes({27, 15, 0}));
        QVERIFY(answered.has_value() && !*answered);
        t.board.Send(Bytes({6}));
        Simulated().Run(10ms);
        QCOMPARE(t.com.InBufferCount(), 1);
    }
};

REGISTER_TEST(TestExchanges)
#include "tst_exchanges.moc"
