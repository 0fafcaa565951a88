// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/linkfixture.h"
#include "support/suite.h"

#include <QtTest>

class TestReceive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AByteThatWaitsIsTakenAtOnce()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.Send(Bytes({7, 8, 9}));
        QVERIFY(f.Arrived(3)); // no event runs here
        QVERIFY(f.link.line.ReceiveByte());
        QCOMPARE(f.link.RxByte, quint8(7));
        QCOMPARE(f.link.RxCount, qint16(2));
        QVERIFY(f.link.line.ReceiveByte());
        QVERIFY(f.link.line.ReceiveByte());
        QCOMPARE(f.link.RxByte, quint8(9));
        QCOMPARE(f.link.RxCount, qint16(0));
    }

    void AZeroIsAByteLikeOthers()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.RxByte = 99;
        f.board.Send(Bytes({0, 255}));
        QVERIFY(f.link.line.ReceiveByte());
        QCOMPARE(f.link.RxByte, quint8(0));
        QCOMPARE(f.link.RxCount, qint16(1));
        QVERIFY(f.link.line.ReceiveByte());
        QCOMPARE(f.link.RxByte, quint8(255));
    }

    void WhereNothingWaitsThereIsNoByte()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.RxByte = 99;
        f.link.RxCount = 33;
        QVERIFY(!f.link.line.ReceiveByte());
        QCOMPARE(f.link.RxByte, quint8(0));
        QCOMPARE(f.link.RxCount, qint16(33));
    }

    void WithAbortWaitNothingIsRead()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.Send(Bytes({7, 8}));
        f.link.AbortWait = 1;
        f.link.RxByte = 99;
        f.link.RxCount = 33;
        QVERIFY(!f.link.line.ReceiveByte());
        QCOMPARE(f.link.RxByte, quint8(0));
        QCOMPARE(f.link.RxCount, qint16(33));
        QCOMPARE(f.com.InBufferCount(), 2);
        QCOMPARE(f.link.AbortWait, quint8(1)); // it never clears that
        f.link.AbortWait = 0;
        QVERIFY(f.link.line.ReceiveByte());
        QCOMPARE(f.link.RxByte, quint8(7));
        QCOMPARE(f.link.RxCount, qint16(1));
    }

    void Timer1SetsAbortWait()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.timer1.SetEnabled(true);
        Simulated().Run(199ms);
        QCOMPARE(f.link.AbortWait, quint8(0));
        Simulated().Run(1ms);
        QCOMPARE(f.link.AbortWait, quint8(1));
        QCOMPARE(f.link.Timer2Flg, quint8(0));
    }

    void Timer2SetsItsFlagOnly()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.timer2.SetEnabled(true);
        Simulated().Run(19ms);
        QCOMPARE(f.link.Timer2Flg, quint8(0));
        Simulated().Run(1ms);
        QCOMPARE(f.link.Timer2Flg, quint8(1));
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
        QCOMPARE(f.board.Received(), Bytes({0, 255, 27}));
        QCOMPARE(f.link.RxByte, quint8(12));
        QCOMPARE(f.link.RxCount, qint16(13));
        QCOMPARE(f.link.AbortWait, quint8(1));
    }

    void SendingToAClosedPortIsRefused()
    {
        LinkFixture f;
        QVERIFY_EXCEPTION_THROWN(f.link.SendByte(27), PortClosed);
        f.link.OpenPort();
        f.ClosePort();
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

    void ClosingDropsWhatWaited()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.board.Send(Bytes({5}));
        f.ClosePort();
        QVERIFY(f.closing.ThrewNothing());
        f.link.OpenPort();
        QCOMPARE(f.com.InBufferCount(), 0);
    }

    void ClosingLetsOutWhatWasSent()
    {
        LinkFixture f;
        f.link.OpenPort();
        f.link.SendByte(27);
        f.link.SendByte(3);
        f.closing.Start(f.link.ClosePort());
        QVERIFY(f.com.PortOpen()); // two bytes take 2.08 ms at 9600 baud
        Simulated().Run(2ms);
        QVERIFY(f.com.PortOpen());
        Simulated().Run(1ms);
        QVERIFY(!f.com.PortOpen());
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
