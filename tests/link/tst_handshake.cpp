// SPDX-License-Identifier: GPL-3.0-or-later
#include "asking.h"
#include "base/number.h"
#include "support/suite.h"

#include <QtTest>

namespace {
const QString trying = QStringLiteral("Essais de Connection\r\n");
const QString connected = QStringLiteral("Connecté");
const QString slaveConnected = QStringLiteral("Srl Connecté\r\nSlave Connecté.");
const QString loading = QStringLiteral(" Chargement partiel EEproms   Main.Prbar.Visible = False ");

/// As the main window does when the user asks for it.
Task<void> Reconnect(Codebas *link)
{
    Task<void> closing = link->ClosePort();
    co_await closing;
    Task<void> connecting = link->handshake.ConnectBoard();
    co_await connecting;
}

/// Counts what the program does: events and alarms.
class Turns : public QObject
{
public:
    Turns() { qApp->installEventFilter(this); }
    int Count() const { return events_ + Simulated().Rung() - rungBefore_; }

private:
    bool eventFilter(QObject *, QEvent *) override
    {
        ++events_;
        return false;
    }
    int events_ = 0;
    const int rungBefore_ = Simulated().Rung();
};

/// A handshake with a scripted board.
struct Greeting : LinkFixture
{
    Greeting()
    {
        QObject::connect(&link.handshake, &Handshake::Display, &com,
                         [this](const QString &text) { texts.append(text); });
        QObject::connect(&link.handshake, &Handshake::LoadStarted, &com, [this](const QString &caption, int maximum) {
            progress.append(QStringLiteral("%1/%2").arg(caption).arg(maximum));
        });
        QObject::connect(&link.handshake, &Handshake::LoadProgress, &com,
                         [this](int value) { progress.append(QString::number(value)); });
        QObject::connect(&link.handshake, &Handshake::LoadEnded, &com,
                         [this] { progress.append(QStringLiteral("over")); });
        QObject::connect(&link.handshake, &Handshake::Connected, &com, [this] { ++sessions; });
    }
    void Connect() { runner.Start(link.handshake.ConnectBoard()); }
    int Attempts() const { return static_cast<int>(texts.filter(trying).size()); }

    QStringList texts;
    QStringList progress;
    int sessions = 0;
};

/// All the bytes of a handshake that succeeds at its first attempt.
QByteArray WholeHandshake()
{
    QByteArray sent = Bytes({85, 170, 27, 1});
    for (const int command : {37, 38})
        for (int address = 0; address < 16; ++address)
            sent += Bytes({27, command, address});
    return sent;
}
} // namespace

class TestHandshake : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AHealthyBoardIsConnectedAtTheFirstAttempt()
    {
        Greeting h;
        h.board.Healthy();
        for (int i = 0; i < 256; ++i) {
            h.board.master[i] = static_cast<quint8>(100 + i);
            h.board.slave[i] = static_cast<quint8>(200 - i);
        }
        h.link.LinkDropped = true;
        h.timer2.SetEnabled(true); // as the main window leaves it
        h.Connect();
        QVERIFY(h.com.PortOpen());
        QVERIFY(h.timer1.Enabled());
        QVERIFY(!h.timer2.Enabled());
        SOON_EQUAL(h.sessions, 1);
        QVERIFY(h.runner.Idle());
        QVERIFY(h.runner.ThrewNothing());
        QCOMPARE(h.board.Received(), WholeHandshake());
        QCOMPARE(h.texts, QStringList({trying + QStringLiteral(" 0"), connected, slaveConnected}));
        QCOMPARE(h.link.LinkState, 1);
        QCOMPARE(h.link.LinkDropped, false);
        QCOMPARE(h.link.AbortWait, quint8(0));
        QVERIFY(!h.timer1.Enabled());
        QVERIFY(!h.timer2.Enabled());
        for (size_t i = 0; i < 16; ++i) {
            QCOMPARE(int(h.link.MasterEeprom[i]), 100 + int(i));
            QCOMPARE(int(h.link.SlaveEeprom[i]), 200 - int(i));
        }
        for (size_t i = 16; i < 257; ++i) {
            QCOMPARE(int(h.link.MasterEeprom[i]), 0);
            QCOMPARE(int(h.link.SlaveEeprom[i]), 0);
        }
    }

    void TheProgressOfTheLoadingIsTold()
    {
        Greeting h;
        h.board.Healthy();
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QStringList expected{loading + QStringLiteral("/32")};
        for (int i = 0; i < 32; ++i)
            expected.append(QString::number(i));
        expected.append(QStringLiteral("over"));
        QCOMPARE(h.progress, expected);
    }

    void TheStateOfTheSlaveIsReported_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("second");
        QTest::addColumn<int>("third");
        QTest::addColumn<QString>("text");
        QTest::newRow("all well") << 0 << 0 << 6 << slaveConnected;
        QTest::newRow("third 6, others not 0") << 9 << 255 << 6 << slaveConnected;
        QTest::newRow("third 3") << 0 << 0 << 3 << "Srl Connecté\r\nI2C err : 0, 0, 3";
        QTest::newRow("all different") << 1 << 20 << 255 << "Srl Connecté\r\nI2C err : 1, 20, 255";
        QTest::newRow("27 as data") << 27 << 27 << 27 << "Srl Connecté\r\nI2C err : 27, 27, 27";
        QTest::newRow("6 elsewhere") << 6 << 6 << 0 << "Srl Connecté\r\nI2C err : 6, 6, 0";
    }
    void TheStateOfTheSlaveIsReported()
    {
        QFETCH(int, first);
        QFETCH(int, second);
        QFETCH(int, third);
        QFETCH(QString, text);
        Greeting h;
        h.board.Healthy();
        h.board.i2c[0] = static_cast<quint8>(first);
        h.board.i2c[1] = static_cast<quint8>(second);
        h.board.i2c[2] = static_cast<quint8>(third);
        h.Connect();
        SOON_EQUAL(h.sessions, 1); // an absent slave is no error
        QCOMPARE(h.texts.last(), text);
    }

    void ASilentBoardIsGreetedAgainAndAgain()
    {
        Greeting h;
        h.Connect();
        SOON(h.Attempts() >= 4);
        QCOMPARE(h.texts.mid(0, 4), QStringList({trying + QStringLiteral(" 0"), trying + QStringLiteral(" 1"),
                                                 trying + QStringLiteral(" 2"), trying + QStringLiteral(" 3")}));
        SOON_EQUAL(h.board.Received(), QByteArray(h.Attempts(), char(85)));
        QCOMPARE(h.sessions, 0);
        QCOMPARE(h.link.LinkState, 0);
        h.board.Healthy(); // switched on at last
        SOON_EQUAL(h.sessions, 1);
    }

    void AttemptsArePacedByTimer1()
    {
        Greeting h;
        h.Connect();
        Simulated().Run(199ms);
        QCOMPARE(h.Attempts(), 0);
        for (int attempt = 1; attempt <= 5; ++attempt) {
            Simulated().Run(1ms);
            QCOMPARE(h.Attempts(), attempt);
            Simulated().Run(199ms);
            QCOMPARE(h.Attempts(), attempt);
        }
        QCOMPARE(h.timer1.Interval(), 200);
        QCOMPARE(h.timer2.Interval(), 150);
    }

    void WaitingForASilentBoardTakesFewTurns()
    {
        Greeting h;
        h.Connect();
        const Turns turns;
        Simulated().Run(60s);
        QVERIFY(h.Attempts() >= 299);
        QVERIFY2(turns.Count() < 4 * 300, qPrintable(QString::number(turns.Count())));
    }

    void AnAnswerThatComesAfterTheWaitCountsForTheNextAttempt()
    {
        Greeting h;
        h.Connect();
        SOON(h.link.Timer2Flg == 1); // the wait of the first attempt is over
        QVERIFY(!h.board.Received().contains(char(170)));
        h.board.Send(Bytes({27}));
        SOON(h.board.Received().contains(char(170)));
        QVERIFY(h.Attempts() >= 2);
        h.board.Healthy();
        h.board.Send(Bytes({85}));
        SOON_EQUAL(h.sessions, 1);
    }

    void ALateTwentySevenIsNotTheAnswerToTheSecondStep()
    {
        Greeting h;
        int seconds = 0;
        h.board.Healthy();
        // Every greeting is answered, the first one twice: an answer of before comes in the same burst.
        h.board.greet = [&](quint8 greeting) {
            if (greeting == 85)
                return Bytes({27, 27});
            ++seconds;
            return Bytes({85});
        };
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(seconds, 1);
        QCOMPARE(h.Attempts(), 1);
    }

    void OnceTheFirstWaitWasInVainLaterAttemptsDoNotWait()
    {
        Greeting h;
        h.Connect();
        SOON(h.link.Timer2Flg == 1);
        int answered = 0;
        int before = 0; // greetings that were answered before the second step came
        h.board.Healthy();
        h.board.greet = [&](quint8 greeting) {
            if (greeting == 85) {
                ++answered;
                return Bytes({27});
            }
            before = before == 0 ? answered : before;
            return Bytes({85});
        };
        SOON_EQUAL(h.sessions, 1);
        QVERIFY2(before >= 2, "the answer to an attempt is for the next one to see");
        QCOMPARE(h.link.Timer2Flg, quint8(1));
    }

    void ABurstIsHeardToItsEnd()
    {
        Greeting h;
        bool first = true;
        h.board.greet = [&](quint8 greeting) {
            return greeting == 85 && std::exchange(first, false) ? Bytes({27}) : QByteArray();
        };
        bool second = true;
        connect(&h.com, &Com::Received, &h.com, [&] {
            if (!std::exchange(second, false))
                return;
            h.board.Send(Bytes({28})); // right behind the 27 that was just noticed
            QVERIFY(h.Arrived(2));
        });
        h.Connect();
        SOON(h.Attempts() >= 4);
        QVERIFY(!second);
        QVERIFY(!h.board.Received().contains(char(170)));
    }

    void ABurstThatBeginsWithALateTwentySevenIsTheSecondAnswer()
    {
        Greeting h;
        h.board.Healthy();
        bool greeted = false;
        h.board.greet = [&](quint8 greeting) {
            greeted = greeting == 170;
            return Bytes({27});
        };
        connect(&h.com, &Com::Received, &h.com, [&] {
            if (!std::exchange(greeted, false))
                return;
            h.board.Send(Bytes({85}));
            QVERIFY(h.Arrived(2));
        });
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.Attempts(), 1);
    }

    void OnlyTheLastByteOfABurstCounts_data()
    {
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QByteArray>("second");
        QTest::newRow("noise before") << Bytes({1, 85, 27}) << Bytes({27, 3, 85});
        QTest::newRow("the very bytes") << Bytes({27}) << Bytes({85});
    }
    void OnlyTheLastByteOfABurstCounts()
    {
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, second);
        Greeting h;
        h.board.Healthy();
        h.board.greet = [&](quint8 greeting) { return greeting == 85 ? first : second; };
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.Attempts(), 1);
    }

    void AWrongFirstAnswerLeadsToTheNextAttempt_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("6") << Bytes({6});
        QTest::newRow("an echo") << Bytes({85});
        QTest::newRow("27 before another") << Bytes({27, 28});
        QTest::newRow("0") << Bytes({0});
    }
    void AWrongFirstAnswerLeadsToTheNextAttempt()
    {
        QFETCH(QByteArray, answer);
        Greeting h;
        h.board.greet = [&](quint8 greeting) { return greeting == 85 ? answer : Bytes({85}); };
        h.Connect();
        SOON(h.Attempts() >= 4);
        QVERIFY(!h.board.Received().contains(char(170)));
        QCOMPARE(h.link.LinkState, 0);
        h.board.Healthy();
        SOON_EQUAL(h.sessions, 1);
    }

    void AWrongSecondAnswerLeadsToTheNextAttempt()
    {
        Greeting h;
        int seconds = 0;
        h.board.Healthy();
        h.board.greet = [&](quint8 greeting) {
            if (greeting == 85)
                return Bytes({27});
            return ++seconds == 3 ? Bytes({85}) : Bytes({27});
        };
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(seconds, 3);
        QCOMPARE(h.Attempts(), 3);
        QCOMPARE(h.board.Received().left(6), Bytes({85, 170, 85, 170, 85, 170}));
    }

    void TheSecondAnswerIsWaitedForWithoutLimit()
    {
        Greeting h;
        h.board.greet = [](quint8 greeting) { return greeting == 85 ? Bytes({27}) : QByteArray(); };
        h.Connect();
        SOON_EQUAL(h.board.Received(), Bytes({85, 170}));
        Simulated().Run(700ms); // several attempts' worth
        QCOMPARE(h.board.Received(), Bytes({85, 170}));
        QCOMPARE(h.Attempts(), 1);
        h.board.Healthy();
        h.board.Send(Bytes({85}));
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.link.AbortWait, quint8(0)); // though Timer1 ticked all the while
    }

    void WhatWaitsAtTheStartIsThrownAway()
    {
        Greeting h;
        h.link.OpenPort();
        h.board.Send(Bytes({1, 2, 27}));
        QVERIFY(h.Arrived(3));
        h.Connect();
        QCOMPARE(h.com.InBufferCount(), 0);
        SOON(h.Attempts() >= 3);
        QVERIFY(!h.board.Received().contains(char(170)));
    }

    void ATwentySevenOfAnEarlierAttemptIsNoAnswer()
    {
        Greeting h;
        bool answered = false;
        h.board.greet = [&](quint8 greeting) {
            if (greeting == 85)
                return std::exchange(answered, true) ? QByteArray() : Bytes({27});
            return Bytes({9}); // no 85
        };
        h.Connect();
        SOON(h.Attempts() >= 5); // the later ones hear nothing at all
        QCOMPARE(h.board.Received().count(char(170)), 1);
    }

    void ABoardThatStreamsIsHeardOut()
    {
        Greeting h;
        quint8 next = 28;
        Alarm stream([&] {
            h.board.Send(Bytes({next}));
            next = next == 84 ? 28 : next + 1; // never 27 nor 85
            stream.Start(2ms);
        });
        h.Connect();
        stream.Start(2ms);
        SOON(h.Attempts() >= 4);
        QVERIFY(!h.board.Received().contains(char(170)));
        stream.Stop();
        h.board.Healthy();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.texts.last(), slaveConnected);
    }

    void NoiseBetweenTheGreetingAndTheReportIsThrownAway()
    {
        Greeting h;
        h.board.Healthy();
        h.board.On(1, 0, [](const QByteArray &) { return Bytes({5, 4, 27, 0, 0, 6, 99}); });
        h.board.On(37, 1, [](const QByteArray &p) { return Bytes({1, 2, 27, p[0] + 1, 27}); });
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.texts.last(), slaveConnected);
        for (size_t i = 0; i < 16; ++i)
            QCOMPARE(int(h.link.MasterEeprom[i]), int(i) + 1);
    }

    void TicksOfTimer1DoNotAbortTheReport()
    {
        Greeting h;
        h.board.Healthy();
        h.board.On(1, 0, [](const QByteArray &) { return QByteArray(); });
        h.Connect();
        SOON(h.board.Received().endsWith(Bytes({27, 1})));
        QVERIFY(!h.timer1.Enabled());
        QCOMPARE(h.link.AbortWait, quint8(0));
        Simulated().Run(100ms); // no time-out either
        QCOMPARE(h.texts.last(), connected);
        QCOMPARE(h.sessions, 0);
        QVERIFY(!h.runner.Idle());
        h.board.Send(Bytes({27, 0, 0, 6, 0}));
        SOON_EQUAL(h.sessions, 1);
    }

    void ASecondHandshakeReplacesTheFirst()
    {
        Greeting h;
        h.Connect();
        SOON(h.Attempts() >= 3);
        h.runner.Drop();
        QVERIFY(!h.timer1.Enabled());
        QVERIFY(!h.timer2.Enabled());
        QCOMPARE(h.link.AbortWait, quint8(0));
        h.texts.clear();
        h.board.Healthy();
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.texts.first(), trying + QStringLiteral(" 0")); // counted from the start
    }

    void OneThatIsDroppedWhileItLoadsSaysSo()
    {
        Greeting h;
        h.board.Healthy();
        h.board.On(38, 1, [](const QByteArray &) { return QByteArray(); });
        h.Connect();
        SOON_EQUAL(h.progress.size(), 18); // the start and 0 to 16
        h.runner.Drop();
        QCOMPARE(h.progress.last(), QStringLiteral("over"));
        QCOMPARE(h.sessions, 0);
    }

    void APortThatCannotBeOpenedEndsIt()
    {
        Greeting h;
        h.board.Unplug();
        h.Connect();
        QVERIFY(h.runner.Idle());
        QVERIFY(h.runner.Threw<PortError>());
        QVERIFY(!h.timer1.Enabled());
        QCOMPARE(h.texts, QStringList());
    }

    void ClosingAndOpeningThePortUnderItStartsTheGreetingAgain_data()
    {
        QTest::addColumn<int>("answered"); // which of its two steps the board answers
        QTest::newRow("before the first answer") << 0;
        QTest::newRow("in the wait for the second") << 1;
    }
    void ClosingAndOpeningThePortUnderItStartsTheGreetingAgain()
    {
        QFETCH(int, answered);
        Greeting h;
        h.board.greet = [&](quint8 greeting) { return greeting == 85 && answered > 0 ? Bytes({27}) : QByteArray(); };
        h.Connect();
        SOON(h.board.Received().contains(char(answered > 0 ? 170 : 85)));
        h.Reopen();
        h.board.Healthy();
        SOON_EQUAL(h.sessions, 1);
        QVERIFY(h.runner.ThrewNothing());
        QVERIFY(h.closing.ThrewNothing());
    }

    void AnUnpluggedLineIsGreetedAgainWhenItIsBack_data()
    {
        QTest::addColumn<bool>("first");
        QTest::newRow("in the wait for the first answer") << false;
        QTest::newRow("in the wait for the second answer") << true;
    }
    void AnUnpluggedLineIsGreetedAgainWhenItIsBack()
    {
        QFETCH(bool, first);
        Greeting h;
        h.board.greet = [&](quint8 greeting) { return first && greeting == 85 ? Bytes({27}) : QByteArray(); };
        h.Connect();
        SOON(h.board.Received().contains(char(first ? 170 : 85)));
        h.board.Unplug();
        SOON(h.com.Lost());
        h.board.TakeReceived();
        Simulated().Run(1h); // ticks of Timer1 send nothing now
        QVERIFY(h.runner.ThrewNothing());
        QCOMPARE(h.board.Received(), QByteArray());
        h.board.Healthy();
        h.board.Plug();
        SOON_EQUAL(h.sessions, 1);
        QVERIFY(h.board.Received().endsWith(WholeHandshake()));
    }

    void AnotherSpeedIsGivenUpAfterAWhile()
    {
        Greeting h;
        h.com.SetSettings(QStringLiteral("19200,n,8,1"));
        h.Connect();
        QCOMPARE(h.board.Speed(), 19200);
        const Stopwatch watch;
        for (int speed = 0; speed < 4; ++speed) {
            const int tries = h.Attempts();
            Simulated().Run(4950ms);
            QCOMPARE(h.board.Speed(), speed % 2 == 0 ? 19200 : 9600);
            QVERIFY(h.Attempts() > tries);
            SOON_EQUAL(h.board.Speed(), speed % 2 == 0 ? 9600 : 19200);
            QVERIFY(watch.Elapsed() >= (speed + 1) * 5s);
            QVERIFY(watch.Elapsed() < (speed + 1) * 5s + 200ms);
            QCOMPARE(h.com.Settings(), speed % 2 == 0 ? Codebas::ordinarySettings : Codebas::streamSettings);
        }
        h.board.Healthy();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.board.Speed(), 19200);
        Simulated().Run(1h); // the board has answered: it stays at this speed
        QCOMPARE(h.board.Speed(), 19200);
        QVERIFY(h.runner.ThrewNothing());
    }

    void TheOrdinarySpeedIsKept()
    {
        Greeting h;
        h.Connect();
        Simulated().Run(1h);
        QCOMPARE(h.board.Speed(), 9600);
    }

    void ABoardAtTheOtherSpeedIsConnectedThere()
    {
        Greeting h;
        h.board.Healthy();
        h.com.SetSettings(QStringLiteral("19200,n,8,1"));
        h.Connect();
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.board.Speed(), 19200);
        QCOMPARE(h.board.Received(), WholeHandshake());
    }

    // ---- others who want the line

    void BehindAttemptsInVainASessionIsTheSame()
    {
        Greeting h;
        h.Connect();
        SOON(h.Attempts() >= 3);
        const QByteArray inVain = h.board.TakeReceived();
        QCOMPARE(inVain, Bytes({85, 85, 85}));
        h.board.Healthy();
        SOON_EQUAL(h.sessions, 1);
        // An attempt looks at what has come since the one before: the answer to the first is seen by the second.
        QCOMPARE(h.board.Received(), Bytes({85}) + WholeHandshake());
    }

    void NobodyElseTalksDuringTheGreeting()
    {
        Greeting h;
        Result other;
        h.Connect();
        SOON(h.Attempts() >= 1);
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &other));
        Simulated().Run(700ms); // more than the patience with a silent board
        QVERIFY(!h.board.Received().contains(char(27)));
        h.board.Healthy();
        h.board.channel[13] = 522;
        SOON(h.runner.Idle());
        QCOMPARE(other.reply, Bytes({2, 10, 0}));
        QCOMPARE(h.sessions, 1);
        // The first time for a sign of life: the greetings that were not answered might still be.
        QCOMPARE(h.board.Received().count(Bytes({27, 13})), 2);
    }

    void AGreetingThatHearsNothingForASecondLetsOthersIn()
    {
        Greeting h;
        Result other;
        h.Connect();
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &other));
        Simulated().Run(999ms);
        QVERIFY(!h.board.Received().contains(char(27)));
        Simulated().Run(250ms);
        QVERIFY(h.board.Received().endsWith(Request(13)));
        h.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 2, 10, 0}); });
        h.board.Send(Bytes({27})); // to one of the greetings: a sign of life
        SOON(other.done);
        QCOMPARE(other.reply, Bytes({2, 10, 0}));
        SOON(h.link.line.IsHeld());
        h.board.TakeReceived();
        h.board.Healthy();
        SOON_EQUAL(h.sessions, 1); // behind him it goes on
        QCOMPARE(h.board.Received(), WholeHandshake());
        QVERIFY(h.Attempts() > 1);
        QVERIFY(h.texts.contains(trying + number::Str(h.Attempts() - 1))); // counted on
    }

    void ALostSecondAnswerKeepsNobodyOutForLongerThanASecond()
    {
        Greeting h;
        Result other;
        h.board.Healthy();
        h.board.channel[13] = 522;
        int seconds = 0;
        h.board.greet = [&seconds](quint8 greeting) {
            if (greeting == 85)
                return Bytes({27});
            return ++seconds == 1 ? QByteArray() : Bytes({85});
        };
        h.Connect();
        SOON(h.board.Received().endsWith(Bytes({85, 170})));
        h.board.TakeReceived();
        const Stopwatch watch;
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &other));
        SOON(other.done);
        QVERIFY(watch.Elapsed() >= 900ms);
        QVERIFY(watch.Elapsed() <= 1300ms);
        QCOMPARE(other.reply, Bytes({2, 10, 0}));
        SOON_EQUAL(h.sessions, 1);
        // The second answer may be late instead of lost: the first of his answers is only a sign of life.
        QCOMPARE(h.board.Received(), Request(13) + Request(13) + WholeHandshake());
        QCOMPARE(seconds, 2);
        QVERIFY(h.runner.ThrewNothing());
    }

    void AnExchangeThatItCutStartsAgainAfterIt()
    {
        Greeting h;
        Result other;
        h.link.OpenPort();
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &other));
        QCOMPARE(h.board.Received(), Bytes({27, 13}));
        h.board.TakeReceived();
        h.board.Healthy();
        h.board.channel[13] = 522;
        h.runner.Start(Reconnect(&h.link));
        SOON(h.runner.Idle());
        QVERIFY(h.runner.ThrewNothing());
        QCOMPARE(h.board.Received(), WholeHandshake() + Bytes({27, 13}));
        QCOMPARE(other.reply, Bytes({2, 10, 0}));
    }

    void TwoGreetingsAndTwoWhoWaitDoNotSpin_data()
    {
        QTest::addColumn<bool>("dropped");
        QTest::newRow("the second takes the place of the first") << true;
        QTest::newRow("both go on") << false;
    }
    void TwoGreetingsAndTwoWhoWaitDoNotSpin()
    {
        QFETCH(bool, dropped);
        Greeting h;
        Runner first;
        Result one;
        Result two;
        const Turns turns;
        first.Start(h.link.handshake.ConnectBoard());
        Simulated().Run(300ms);
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &one));
        h.runner.Start(Ask(&h.link, Request(12), Reply::Framed(2), &two));
        Simulated().Run(300ms);
        if (dropped)
            first.Drop();
        h.runner.Start(Reconnect(&h.link));
        Simulated().Run(30s);
        QVERIFY2(turns.Count() < 3000, qPrintable(QString::number(turns.Count())));
        h.board.Healthy();
        h.board.channel = {{13, 1300}, {12, 1200}};
        for (int i = 0; i < 16; ++i) {
            h.board.master[i] = static_cast<quint8>(100 + i);
            h.board.slave[i] = static_cast<quint8>(200 - i);
        }
        SOON(h.runner.Idle() && first.Idle());
        QVERIFY(h.runner.ThrewNothing());
        QVERIFY(first.ThrewNothing());
        QCOMPARE(h.sessions, dropped ? 1 : 2);
        QCOMPARE(one.reply, Bytes({1300 / 256, 1300 % 256, 0}));
        QCOMPARE(two.reply, Bytes({1200 / 256, 1200 % 256, 0}));
        for (size_t i = 0; i < 16; ++i) { // no byte became 0
            QCOMPARE(int(h.link.MasterEeprom[i]), 100 + int(i));
            QCOMPARE(int(h.link.SlaveEeprom[i]), 200 - int(i));
        }
        QCOMPARE(h.texts.filter(QStringLiteral("I2C")), QStringList());
        QVERIFY(!h.timer1.Enabled());
        QCOMPARE(h.link.AbortWait, quint8(0));
    }

    // ---- answers that come late

    void LateAnswersConnectWithinAFewAttempts_data()
    {
        QTest::addColumn<int>("delay");
        QTest::addColumn<double>("scale");
        QTest::newRow("210 ms") << 210 << 1.0;
        QTest::newRow("60 ms, five times as fast as life") << 60 << 5.0;
        for (int delay = 10; delay < 1000; delay += 35)
            QTest::addRow("swept, %d ms", delay) << delay << 1.0;
        for (int delay = 10; delay < 200; delay += 15)
            QTest::addRow("swept, %d ms, five times as fast as life", delay) << delay << 5.0;
    }
    void LateAnswersConnectWithinAFewAttempts()
    {
        QFETCH(int, delay);
        QFETCH(double, scale);
        Timer::SetScale(scale);
        const auto restore = qScopeGuard([] { Timer::SetScale(1); });
        Greeting h;
        h.board.Healthy();
        h.board.SetDelay(delay * 1ms);
        for (int i = 0; i < 16; ++i) {
            h.board.master[i] = static_cast<quint8>(100 + i);
            h.board.slave[i] = static_cast<quint8>(200 - i);
        }
        h.Connect();
        SOON(h.link.LinkState == 1);
        const int attempts = h.Attempts();
        // The first answer is on its way for so many attempts, and the second may be taken up after that.
        const int onItsWay = 1 + static_cast<int>(delay * scale / 200);
        QVERIFY2(attempts <= 2 * onItsWay + 1, qPrintable(QString::number(attempts)));
        SOON_EQUAL(h.sessions, 1);
        QCOMPARE(h.Attempts(), attempts);
        QCOMPARE(h.texts.last(), slaveConnected);
        QCOMPARE(h.texts.filter(QStringLiteral("I2C")), QStringList());
        for (size_t i = 0; i < 16; ++i) {
            QCOMPARE(int(h.link.MasterEeprom[i]), 100 + int(i));
            QCOMPARE(int(h.link.SlaveEeprom[i]), 200 - int(i));
        }
    }

    void TheLateAnswerToASecondGreetingIsNotTakenForThatToAStop()
    {
        Greeting h;
        Result stop;
        h.board.greet = [](quint8 greeting) { return greeting == 85 ? Bytes({27}) : QByteArray(); };
        h.Connect();
        SOON(h.board.Received().endsWith(Bytes({170})));
        h.board.SetSilent(true);
        Simulated().Run(7s);
        h.runner.Start(Ask(&h.link, Request(17, 0), Reply::Acknowledge(), &stop));
        SOON(h.board.Received().endsWith(Request(17, 0)));
        h.board.Send(Bytes({85, 6})); // the board stood still until now
        h.board.On(17, 1, [](const QByteArray &) { return Bytes({7}); });
        h.board.SetSilent(false);
        SOON(stop.done);
        QCOMPARE(stop.reply, Bytes({7}));
    }

    void AnothersLateAnswerIsNotTakenForTheGreetings_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("delay");
        const std::pair<const char *, QByteArray> answers[] = {
            {"ends like the first answer", Bytes({27, 27, 85, 27})},
            {"ends like the second answer", Bytes({27, 27, 27, 85})},
            {"ordinary", Bytes({27, 2, 10, 0})},
        };
        for (const auto &[name, answer] : answers)
            for (int delay = 5; delay < 1000; delay += 35)
                QTest::addRow("%s, after %d ms", name, delay) << answer << delay;
    }
    void AnothersLateAnswerIsNotTakenForTheGreetings()
    {
        QFETCH(QByteArray, answer);
        QFETCH(int, delay);
        Greeting h;
        Result other;
        h.board.Healthy();
        h.board.On(13, 0, [&](const QByteArray &) { return answer; });
        h.link.OpenPort();
        h.board.SetDelay(delay * 1ms);
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &other));
        h.board.SetDelay(1ms);
        h.Connect();
        SOON(h.runner.Idle());
        QVERIFY(h.runner.ThrewNothing());
        QCOMPARE(h.sessions, 1);
        QCOMPARE(other.reply, answer.mid(1));
        QCOMPARE(h.texts.last(), slaveConnected);
        QCOMPARE(h.texts.filter(QStringLiteral("I2C")), QStringList());
        QCOMPARE(std::ranges::count(h.link.MasterEeprom, 0), 257); // as the board has it
        QCOMPARE(std::ranges::count(h.link.SlaveEeprom, 0), 257);
    }
};

REGISTER_TEST(TestHandshake)
#include "tst_handshake.moc"
