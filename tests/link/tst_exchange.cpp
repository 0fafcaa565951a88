#include "support/linkfixture.h"
#include "support/suite.h"

#include <QFile>
#include <QtTest>

#include <memory>

namespace {
constexpr int silence = 250; // milliseconds after which the board is taken for silent

struct Result
{
    QByteArray reply;
    bool done = false;
};

Task<void> Ask(Codebas *link, QByteArray request, Reply reply, Result *result)
{
    Task<QByteArray> exchange = link->Exchange(request, reply);
    result->reply = co_await exchange;
    result->done = true;
}

Task<void> AskUndisturbed(Codebas *link, QByteArray request, Reply reply, Result *result)
{
    Task<QByteArray> exchange = link->Exchange(request, reply, {}, Line::Overtaking::Refused);
    result->reply = co_await exchange;
    result->done = true;
}

Task<void> AskIf(Codebas *link, std::function<bool()> wanted, QByteArray request, Reply reply, Result *result)
{
    Task<QByteArray> exchange = link->Exchange(request, reply, wanted);
    result->reply = co_await exchange;
    result->done = true;
}

/// A step of several exchanges, one right after the other.
Task<void> Step(Codebas *link, QByteArray *channels, std::vector<QByteArray> *replies)
{
    for (const char channel : *channels) {
        Task<QByteArray> exchange = link->Exchange(Request(channel), Reply::Framed(2));
        const QByteArray reply = co_await exchange;
        replies->push_back(reply);
    }
}
} // namespace

class TestExchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void RequestsBeginWithTheEscapeByte()
    {
        QCOMPARE(Request(13), Bytes({27, 13}));
        QCOMPARE(Request(37, 15), Bytes({27, 37, 15}));
        QCOMPARE(Request(49, 255, 0, 200), Bytes({27, 49, 255, 0, 200}));
    }

    void AReadTakesTheFrameAndTheByteThatSaysNothing()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        f.board.Send(Bytes({0x41, 0x42, 27}));
        QVERIFY(f.Arrived(3));
        QTRY_COMPARE(f.com.InBufferCount(), 0);
        QVERIFY(!result.done);
        f.board.Send(Bytes({27, 10}));
        QTest::qWait(10);
        QVERIFY(!result.done); // the byte that says nothing is waited for
        f.board.Send(Bytes({99}));
        QTRY_VERIFY(result.done);
        QCOMPARE(result.reply.left(2), Bytes({27, 10})); // a 27 behind the leading one is data
        QCOMPARE(f.com.InBufferCount(), 0);
        QCOMPARE(f.board.Received(), Bytes({27, 13}));
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
        LinkFixture f;
        f.link.OpenPort();
        Result result;
        f.runner.Start(Ask(&f.link, Request(15, 1), Reply::Acknowledge(), &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 15, 1}));
        QVERIFY(!result.done);
        f.board.Send(Bytes({byte}));
        QTRY_VERIFY(result.done);
        QCOMPARE(result.reply, Bytes({byte}));
    }

    void AStoreEndsWithASix()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result result;
        f.runner.Start(Ask(&f.link, Request(39, 0, 5), Reply::Stored(), &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 39, 0, 5}));
        f.board.Send(Bytes({27, 0, 7}));
        QVERIFY(f.Arrived(3));
        QTRY_COMPARE(f.com.InBufferCount(), 0);
        QVERIFY(!result.done);
        f.board.Send(Bytes({6}));
        QTRY_VERIFY(result.done);
        QCOMPARE(result.reply, QByteArray());
    }

    void ExchangesNeverMix()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result first;
        Result second;
        f.runner.Start(Ask(&f.link, Request(6), Reply::Framed(2), &first));
        f.runner.Start(Ask(&f.link, Request(7), Reply::Framed(2), &second));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 6}));
        f.board.Send(Bytes({27, 1}));
        QTest::qWait(20);
        QCOMPARE(f.board.Received(), Bytes({27, 6}));
        f.board.Send(Bytes({2, 0}));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 6, 27, 7}));
        QVERIFY(first.done);
        QVERIFY(!second.done);
        f.board.Send(Bytes({27, 3, 4, 0}));
        QTRY_VERIFY(second.done);
        QCOMPARE(first.reply.left(2), Bytes({1, 2}));
        QCOMPARE(second.reply.left(2), Bytes({3, 4}));
    }

    void AClickGoesBetweenTwoExchangesOfAStep()
    {
        LinkFixture f;
        f.board.Healthy();
        f.board.channel = {{5, 500}, {6, 600}, {7, 700}};
        f.link.OpenPort();
        QByteArray channels = Bytes({5, 6, 7});
        std::vector<QByteArray> replies;
        Result click;
        f.runner.Start(Step(&f.link, &channels, &replies));
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &click));
        QTRY_VERIFY(f.runner.Idle());
        QCOMPARE(f.board.Received(), Bytes({27, 5, 27, 15, 0, 27, 6, 27, 7}));
        QCOMPARE(replies.size(), size_t(3));
        QCOMPARE(replies[0].left(2), Bytes({1, 244}));
        QCOMPARE(replies[1].left(2), Bytes({2, 88}));
        QCOMPARE(replies[2].left(2), Bytes({2, 188}));
    }

    void AStopReachesASilentBoard()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result step;
        Result stop;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &step));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        QElapsedTimer watch;
        watch.start();
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &stop));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0}));
        QVERIFY(!step.done);
        f.board.Send(Bytes({6}));
        QTRY_VERIFY(stop.done);
        QCOMPARE(stop.reply, Bytes({6}));
        QVERIFY(!step.done);
        f.board.Send(Bytes({27, 8, 9, 0})); // the answer of the first, after all
        QTRY_VERIFY(step.done);
        QCOMPARE(step.reply.left(2), Bytes({8, 9}));
        QCOMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0})); // it was not sent again
    }

    void ABoardThatSpeaksSlowlyIsNotSilent()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result slow;
        Result other;
        f.runner.Start(Ask(&f.link, Request(41), Reply::Framed(30), &slow));
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &other));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 41}));
        QElapsedTimer pause;
        f.board.Send(Bytes({27}));
        for (int i = 0; i < 31; ++i) { // by far longer than the patience
            pause.start();
            QTest::qWait(25);
            if (pause.elapsed() >= silence / 2)
                QSKIP("the machine is too busy to tell");
            QCOMPARE(f.board.Received(), Bytes({27, 41}));
            f.board.Send(Bytes({i}));
        }
        QTRY_VERIFY(slow.done);
        QCOMPARE(slow.reply.size(), 31);
        QTRY_COMPARE(f.board.Received(), Bytes({27, 41, 27, 15, 0}));
    }

    void AReaderThatMustNotBeInterruptedIsNot()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result undisturbed;
        Result other;
        f.runner.Start(AskUndisturbed(&f.link, Request(13), Reply::Framed(2), &undisturbed));
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &other));
        QTest::qWait(3 * silence);
        QCOMPARE(f.board.Received(), Bytes({27, 13}));
        f.board.Send(Bytes({27, 1, 2, 0}));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0}));
        QVERIFY(undisturbed.done);
    }

    void BytesThatWaitGoToTheOneWhoseTurnItIs()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result step;
        Result stop;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &step));
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &stop));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0}));
        f.board.Send(Bytes({6, 27, 8, 9, 0})); // both answers in one burst
        QTRY_VERIFY(f.runner.Idle());
        QCOMPARE(stop.reply, Bytes({6}));
        QCOMPARE(step.reply.left(2), Bytes({8, 9}));
    }

    void StartsAgainWhenThePortWasClosedAndOpened()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        f.board.TakeReceived();
        f.board.Send(Bytes({27, 1}));
        QVERIFY(f.Arrived(2));
        QTRY_COMPARE(f.com.InBufferCount(), 0);
        f.link.ClosePort();
        f.link.OpenPort();
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        QVERIFY(!result.done);
        f.board.Send(Bytes({27, 3, 4, 0}));
        QTRY_VERIFY(result.done);
        QCOMPARE(result.reply, Bytes({3, 4, 0})); // nothing of the first answer
        QVERIFY(f.runner.ThrewNothing());
    }

    void TheAnswerToTheFirstRequestIsNotTakenForThatToTheSecond()
    {
        LinkFixture f;
        f.link.OpenPort();
        QByteArray channels = Bytes({13, 12});
        std::vector<QByteArray> replies;
        f.runner.Start(Step(&f.link, &channels, &replies));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        f.board.TakeReceived();
        f.link.ClosePort();
        f.link.OpenPort();
        f.board.Send(Bytes({27, 1, 2, 0})); // it was on its way when the port was closed
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        f.board.TakeReceived();
        f.board.Send(Bytes({27, 1, 3, 0}));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 12}));
        f.board.TakeReceived();
        f.board.Send(Bytes({27, 4, 5, 0}));
        QTRY_VERIFY(f.runner.Idle());
        QCOMPARE(replies.size(), size_t(2));
        QCOMPARE(replies[0].left(2), Bytes({1, 3}));
        QCOMPARE(replies[1].left(2), Bytes({4, 5})); // not the leftover of channel 13
    }

    void AllThatWereUnderWayStartAgain()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result silent;
        Result stop;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &silent));
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &stop));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0}));
        f.board.TakeReceived();
        f.link.ClosePort();
        f.link.OpenPort();
        QTRY_COMPARE(f.board.Received(), Bytes({27, 15, 0}));
        f.board.TakeReceived(); // the younger first
        f.board.Send(Bytes({6}));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        f.board.TakeReceived();
        QVERIFY(stop.done);
        f.board.Send(Bytes({27, 3, 4, 0}));
        QTRY_VERIFY(silent.done);
    }

    void FailsWhenThePortStaysClosed()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result underWay;
        Result waiting;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &underWay));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        f.link.ClosePort();
        QTRY_VERIFY(f.runner.Idle());
        QVERIFY(!underWay.done);
        QVERIFY(f.runner.Threw<PortClosed>());

        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &waiting));
        QVERIFY(f.runner.Idle()); // at once
        QVERIFY(f.runner.Threw<PortClosed>());

        f.link.OpenPort();
        f.runner.Start(Ask(&f.link, Request(12), Reply::Framed(2), &underWay));
        f.runner.Start(Ask(&f.link, Request(12), Reply::Framed(2), &waiting));
        f.link.ClosePort();
        QTRY_VERIFY(f.runner.Idle()); // those that waited for their turn as well
        QVERIFY(!waiting.done);
    }

    void ThePortClosedAgainBeforeItStartsAgain()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result result;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        f.board.TakeReceived();
        f.link.ClosePort();
        f.link.OpenPort();
        f.link.ClosePort();
        QTRY_VERIFY(f.runner.Idle());
        QVERIFY(f.runner.Threw<PortClosed>());
        QVERIFY(!f.com.PortOpen());
    }

    void StartsAgainWhenTheDeviceIsPluggedInAgain()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("ttyBoard"));
        LinkFixture f;
        QVERIFY(QFile::link(f.board.Port(), path));
        f.com.SetPortName(path);
        f.link.OpenPort();
        Result result;
        Result younger;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        QFile::remove(path);
        f.board.Unplug();
        QTRY_VERIFY(f.com.Lost());
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &younger));
        QTest::qWait(2 * silence);
        QVERIFY(f.runner.ThrewNothing()); // they wait
        QVERIFY(!f.runner.Idle());

        ScriptedBoard again;
        again.Healthy();
        again.channel[13] = 522;
        QVERIFY(QFile::link(again.Port(), path));
        QTRY_VERIFY(f.runner.Idle());
        QVERIFY(f.runner.ThrewNothing());
        QCOMPARE(again.Received(), Bytes({27, 15, 0, 27, 13}));
        QCOMPARE(result.reply, Bytes({2, 10, 0}));
        QVERIFY(younger.done);
    }

    void AnAbortedWaitEndsOneThatSaysSo()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result result;
        f.runner.Start(Ask(&f.link, Request(50, 1), {.until = quint8(6), .length = 0, .abortable = true}, &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 50, 1}));
        f.timer1.SetEnabled(true);
        QTRY_VERIFY(f.runner.Idle());
        f.timer1.SetEnabled(false);
        QVERIFY(f.runner.Threw<WaitAborted>());
        QCOMPARE(f.link.line.Reader(), HandlerNumber(0));
    }

    void OneThatIsNotWantedAnyMoreSendsNothing()
    {
        LinkFixture f;
        f.board.Healthy();
        f.link.OpenPort();
        Result result;
        const std::function<bool()> never = [] { return false; };
        f.runner.Start(AskIf(&f.link, never, Request(15, 1), Reply::Acknowledge(), &result));
        QVERIFY(result.done);
        QCOMPARE(result.reply, QByteArray());
        Result next;
        f.runner.Start(Ask(&f.link, Request(16, 1), Reply::Acknowledge(), &next));
        QTRY_VERIFY(next.done);
        QCOMPARE(f.board.Received(), Bytes({27, 16, 1}));
    }

    void WhetherItIsWantedIsAskedWhenItsTurnComes()
    {
        LinkFixture f;
        f.link.OpenPort();
        bool wanted = true;
        int asked = 0;
        const std::function<bool()> ask = [&] {
            ++asked;
            return wanted;
        };
        Result first;
        Result second;
        f.runner.Start(Ask(&f.link, Request(13), Reply::Framed(2), &first));
        f.runner.Start(AskIf(&f.link, ask, Request(15, 1), Reply::Acknowledge(), &second));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        QCOMPARE(asked, 0);
        wanted = false;
        f.board.Send(Bytes({27, 1, 2, 0}));
        QTRY_VERIFY(second.done);
        QCOMPARE(asked, 1);
        QCOMPARE(f.board.Received(), Bytes({27, 13}));
    }

    void WhetherItIsWantedIsAskedAgainWhenItStartsAgain()
    {
        LinkFixture f;
        f.link.OpenPort();
        bool wanted = true;
        const std::function<bool()> ask = [&] { return wanted; };
        Result result;
        f.runner.Start(AskIf(&f.link, ask, Request(15, 1), Reply::Acknowledge(), &result));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 15, 1}));
        wanted = false;
        f.link.ClosePort();
        f.link.OpenPort();
        QTRY_VERIFY(result.done);
        QCOMPARE(result.reply, QByteArray());
        QCOMPARE(f.board.Received(), Bytes({27, 15, 1}));
    }

    void AnExchangeThatIsDroppedFreesTheLine()
    {
        LinkFixture f;
        f.link.OpenPort();
        Result doomed;
        Result next;
        Runner other;
        other.Start(Ask(&f.link, Request(13), Reply::Framed(2), &doomed));
        f.runner.Start(Ask(&f.link, Request(15, 0), Reply::Acknowledge(), &next));
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13}));
        other.Drop();
        QTRY_COMPARE(f.board.Received(), Bytes({27, 13, 27, 15, 0}));
        f.board.Send(Bytes({6}));
        QTRY_VERIFY(next.done);
        QVERIFY(!doomed.done);
    }
};

REGISTER_TEST(TestExchange)
#include "tst_exchange.moc"
