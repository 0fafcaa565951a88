#include "support/linkfixture.h"
#include "support/suite.h"

#include <QtTest>

namespace {
struct Got
{
    int byte;
    int count;
    bool operator==(const Got &) const = default;
};

Task<void> Receive(Codebas *link, std::vector<Got> *got, int times)
{
    for (int i = 0; i < times; ++i) {
        co_await link->ReceiveByte();
        got->push_back({link->RxByte, link->RxCount});
    }
}

Task<void> ReceiveUntil27(Codebas *link, int *calls)
{
    do {
        co_await link->ReceiveByte();
        ++*calls;
    } while (link->RxByte != 27);
}
} // namespace

class TestReceive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ABytePresentIsReadAtOnce()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.Send(Bytes({7, 8, 9}));
        QVERIFY(f.Arrived(3));
        std::vector<Got> got;
        f.runner.Start(Receive(&f.link, &got, 1)); // no event runs here
        QCOMPARE(got, (std::vector<Got>{{7, 2}}));
        QVERIFY(f.runner.Idle());
        f.runner.Start(Receive(&f.link, &got, 2));
        QCOMPARE(got, (std::vector<Got>{{7, 2}, {8, 1}, {9, 0}}));
    }

    void AByteThatIsMissingIsWaitedFor()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.RxByte = 99;
        std::vector<Got> got;
        f.runner.Start(Receive(&f.link, &got, 2));
        QCOMPARE(f.link.RxByte, quint8(0));
        QVERIFY(got.empty());
        f.board.Send(Bytes({200}));
        QTRY_COMPARE(got.size(), size_t(1));
        QCOMPARE(got[0], (Got{200, 0}));
        QVERIFY(!f.runner.Idle());
        f.board.Send(Bytes({0}));
        QTRY_VERIFY(f.runner.Idle());
        QCOMPARE(got[1], (Got{0, 0}));
    }

    void WithAbortWaitNothingIsRead()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.Send(Bytes({7, 8}));
        QVERIFY(f.Arrived(2));
        f.link.AbortWait = 1;
        f.link.RxByte = 99;
        f.link.RxCount = 33;
        std::vector<Got> got;
        f.runner.Start(Receive(&f.link, &got, 1));
        QTRY_VERIFY(f.runner.Idle());
        QCOMPARE(got, (std::vector<Got>{{0, 33}}));
        QCOMPARE(f.com.InBufferCount(), 2);
        QCOMPARE(f.link.AbortWait, quint8(1));
    }

    void WhatBeganUnderAbortWaitEndsWithoutReading()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.Send(Bytes({7}));
        QVERIFY(f.Arrived(1));
        std::vector<Got> got;
        f.link.AbortWait = 1;
        f.runner.Start(Receive(&f.link, &got, 2));
        f.link.AbortWait = 0;
        QTRY_VERIFY(f.runner.Idle());
        QCOMPARE(got, (std::vector<Got>{{0, 0}, {7, 0}}));
    }

    void ALoopUnderAbortWaitGivesWayToEvents()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.AbortWait = 1;
        int calls = 0;
        f.runner.Start(ReceiveUntil27(&f.link, &calls));
        int ticks = 0;
        QTimer ticking;
        connect(&ticking, &QTimer::timeout, &f.com, [&ticks] { ++ticks; });
        ticking.start(1);
        QTRY_VERIFY(ticks >= 5);
        QVERIFY(calls >= 2);
        QVERIFY(!f.runner.Idle());
        f.link.AbortWait = 0;
        f.board.Send(Bytes({27}));
        QTRY_VERIFY(f.runner.Idle());
    }

    void Timer1EndsAWait()
    {
        LinkFixture f;
        f.link.OpenPort();
        std::vector<Got> got;
        f.runner.Start(Receive(&f.link, &got, 1));
        f.timer1.SetInterval(1);
        QCOMPARE(f.link.AbortWait, quint8(0));
        f.timer1.SetEnabled(true);
        QTRY_VERIFY(f.runner.Idle());
        QCOMPARE(f.link.AbortWait, quint8(1));
        QCOMPARE(got, (std::vector<Got>{{0, 0}}));
    }

    void Timer2SetsItsFlagOnly()
    {
        LinkFixture f;
        f.link.OpenPort();
        std::vector<Got> got;
        f.runner.Start(Receive(&f.link, &got, 1));
        QCOMPARE(f.link.Timer2Flg, quint8(0));
        f.timer2.SetEnabled(true);
        QTRY_COMPARE(f.link.Timer2Flg, quint8(1));
        QVERIFY(got.empty());
        QCOMPARE(f.link.AbortWait, quint8(0));
    }

    void ByteValuesAreSentAsTheyAre()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.RxByte = 12;
        f.link.RxCount = 13;
        f.link.AbortWait = 1;
        f.link.SendByte(0);
        f.link.SendByte(255);
        f.link.SendByte(27);
        QTRY_COMPARE(f.board.Received(), Bytes({0, 255, 27}));
        QCOMPARE(f.link.RxByte, quint8(12));
        QCOMPARE(f.link.RxCount, qint16(13));
        QCOMPARE(f.link.AbortWait, quint8(1));
    }

    void SendingToAClosedPortIsRefused()
    {
        LinkFixture f;
        QVERIFY_EXCEPTION_THROWN(f.link.SendByte(27), PortClosed);
        f.link.OpenPort();
        f.link.ClosePort();
        QVERIFY_EXCEPTION_THROWN(f.link.SendByte(27), PortClosed);
    }

    void OpeningTwiceIsOpeningOnce()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.Send(Bytes({5}));
        QVERIFY(f.Arrived(1));
        f.link.OpenPort();
        QCOMPARE(f.com.InBufferCount(), 1);
        QVERIFY(f.com.PortOpen());
    }

    void AWaitForAByteEndsWithAnErrorWhenThePortIsClosed()
    {
        LinkFixture f;
        f.link.OpenPort();
        std::vector<Got> got;
        f.runner.Start(Receive(&f.link, &got, 1)); // outside of any exchange: there is nothing to start again
        f.link.ClosePort();
        QTRY_VERIFY(f.runner.Idle());
        QVERIFY(got.empty());
        QVERIFY(f.runner.Threw<Error>()); // which a window shows
    }

    void TheSharedStateStartsAsTheBoardIsUnknown()
    {
        const LinkFixture f;
        QCOMPARE(f.link.MasterEeprom.size(), size_t(257));
        QCOMPARE(f.link.SlaveEeprom.size(), size_t(257));
        QCOMPARE(std::ranges::count(f.link.MasterEeprom, 0), 257);
        QCOMPARE(std::ranges::count(f.link.SlaveEeprom, 0), 257);
        QCOMPARE(f.link.LinkState, 0);
        QCOMPARE(f.link.LinkDropped, false);
        QCOMPARE(f.link.ReconnectOnActivate, 1);
    }
};

REGISTER_TEST(TestReceive)
#include "tst_receive.moc"
