#include "support/linkfixture.h"
#include "support/suite.h"

#include <QAbstractEventDispatcher>
#include <QFile>
#include <QtTest>

namespace {
const QString trying = QStringLiteral("Essais de Connection\r\n");
const QString connected = QStringLiteral("Connecté");
const QString slaveConnected = QStringLiteral("Srl Connecté\r\nSlave Connecté.");
const QString loading = QStringLiteral(" Chargement partiel EEproms   Main.Prbar.Visible = False ");

Task<void> Ask(Codebas *link, QByteArray request, Reply reply, QByteArray *answer)
{
    Task<QByteArray> exchange = link->Exchange(request, reply);
    *answer = co_await exchange;
}

/// A handshake with a scripted board. Most are ten times as fast as real, with attempts every 20 ms that wait 15 ms;
/// those that must succeed at a certain attempt leave the board its real time to answer.
struct Handshake : LinkFixture
{
    Handshake()
    {
        QObject::connect(&link, &Codebas::Display, &com, [this](const QString &text) { texts.append(text); });
        QObject::connect(&link, &Codebas::LoadStarted, &com, [this](const QString &caption, int maximum) {
            progress.append(QStringLiteral("%1/%2").arg(caption).arg(maximum));
        });
        QObject::connect(&link, &Codebas::LoadProgress, &com,
                         [this](int value) { progress.append(QString::number(value)); });
        QObject::connect(&link, &Codebas::LoadEnded, &com, [this] { progress.append(QStringLiteral("over")); });
        QObject::connect(&link, &Codebas::Connected, &com, [this] { ++sessions; });
    }
    void Connect() { runner.Start(link.ConnectBoard()); }
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

private:
    static constexpr double scale_ = 10;

private Q_SLOTS:
    void init() { Timer::SetScale(scale_); }
    void cleanup() { Timer::SetScale(1); }

    void AHealthyBoardIsConnectedAtTheFirstAttempt()
    {
        Timer::SetScale(1);
        Handshake h;
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
        QTRY_COMPARE(h.sessions, 1);
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
        Handshake h;
        h.board.Healthy();
        h.Connect();
        QTRY_COMPARE(h.sessions, 1);
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
        Handshake h;
        h.board.Healthy();
        h.board.i2c[0] = static_cast<quint8>(first);
        h.board.i2c[1] = static_cast<quint8>(second);
        h.board.i2c[2] = static_cast<quint8>(third);
        h.Connect();
        QTRY_COMPARE(h.sessions, 1); // an absent slave is no error
        QCOMPARE(h.texts.last(), text);
    }

    void ASilentBoardIsGreetedAgainAndAgain()
    {
        Handshake h;
        h.Connect();
        QTRY_VERIFY(h.Attempts() >= 4);
        QCOMPARE(h.texts.mid(0, 4), QStringList({trying + QStringLiteral(" 0"), trying + QStringLiteral(" 1"),
                                                 trying + QStringLiteral(" 2"), trying + QStringLiteral(" 3")}));
        QTRY_COMPARE(h.board.Received(), QByteArray(h.Attempts(), char(85)));
        QCOMPARE(h.sessions, 0);
        QCOMPARE(h.link.LinkState, 0);
        h.board.Healthy(); // switched on at last
        QTRY_COMPARE(h.sessions, 1);
    }

    void AttemptsArePacedByTimer1()
    {
        Timer::SetScale(1);
        Handshake h;
        h.Connect();
        QElapsedTimer watch;
        watch.start();
        QTRY_VERIFY_WITH_TIMEOUT(h.Attempts() >= 3, 20000);
        QVERIFY2(watch.elapsed() >= 3 * 200 - 20, qPrintable(QString::number(watch.elapsed())));
        QCOMPARE(h.timer1.interval(), 200);
        QCOMPARE(h.timer2.interval(), 150);
    }

    void WaitingForASilentBoardTakesFewTurns()
    {
        Timer::SetScale(1);
        Handshake h;
        h.Connect();
        int turns = 0;
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &h.com, [&turns] { ++turns; });
        QElapsedTimer watch;
        watch.start();
        QTRY_VERIFY(watch.elapsed() >= 600);
        QVERIFY2(turns < 300, qPrintable(QString::number(turns)));
    }

    void AnAnswerThatComesAfterTheWaitCountsForTheNextAttempt()
    {
        Handshake h;
        h.Connect();
        QTRY_VERIFY(h.link.Timer2Flg == 1); // the wait of the first attempt is over
        QVERIFY(!h.board.Received().contains(char(170)));
        h.board.Send(Bytes({27}));
        QTRY_VERIFY(h.board.Received().contains(char(170)));
        QVERIFY(h.Attempts() >= 2);
        h.board.Healthy();
        h.board.Send(Bytes({85}));
        QTRY_COMPARE(h.sessions, 1);
    }

    void ALateTwentySevenIsNotTheAnswerToTheSecondStep()
    {
        Timer::SetScale(1);
        Handshake h;
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
        QTRY_COMPARE(h.sessions, 1);
        QCOMPARE(seconds, 1);
        QCOMPARE(h.Attempts(), 1);
    }

    void OnceTheFirstWaitWasInVainLaterAttemptsDoNotWait()
    {
        Handshake h;
        h.Connect();
        QTRY_VERIFY(h.link.Timer2Flg == 1);
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
        QTRY_COMPARE(h.sessions, 1);
        QVERIFY2(before >= 2, "the answer to an attempt is for the next one to see");
        QCOMPARE(h.link.Timer2Flg, quint8(1));
    }

    void ABurstIsHeardToItsEnd()
    {
        Handshake h;
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
        QTRY_VERIFY(h.Attempts() >= 4);
        QVERIFY(!second);
        QVERIFY(!h.board.Received().contains(char(170)));
    }

    void ABurstThatBeginsWithALateTwentySevenIsTheSecondAnswer()
    {
        Timer::SetScale(1);
        Handshake h;
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
        QTRY_COMPARE(h.sessions, 1);
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
        Timer::SetScale(1);
        Handshake h;
        h.board.Healthy();
        h.board.greet = [&](quint8 greeting) { return greeting == 85 ? first : second; };
        h.Connect();
        QTRY_COMPARE(h.sessions, 1);
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
        Handshake h;
        h.board.greet = [&](quint8 greeting) { return greeting == 85 ? answer : Bytes({85}); };
        h.Connect();
        QTRY_VERIFY(h.Attempts() >= 4);
        QVERIFY(!h.board.Received().contains(char(170)));
        QCOMPARE(h.link.LinkState, 0);
        h.board.Healthy();
        QTRY_COMPARE(h.sessions, 1);
    }

    void AWrongSecondAnswerLeadsToTheNextAttempt()
    {
        Timer::SetScale(1);
        Handshake h;
        int seconds = 0;
        h.board.Healthy();
        h.board.greet = [&](quint8 greeting) {
            if (greeting == 85)
                return Bytes({27});
            return ++seconds == 3 ? Bytes({85}) : Bytes({27});
        };
        h.Connect();
        QTRY_COMPARE(h.sessions, 1);
        QCOMPARE(seconds, 3);
        QCOMPARE(h.Attempts(), 3);
        QCOMPARE(h.board.Received().left(6), Bytes({85, 170, 85, 170, 85, 170}));
    }

    void TheSecondAnswerIsWaitedForWithoutLimit()
    {
        Timer::SetScale(1);
        Handshake h;
        h.board.greet = [](quint8 greeting) { return greeting == 85 ? Bytes({27}) : QByteArray(); };
        h.Connect();
        QTRY_COMPARE(h.board.Received(), Bytes({85, 170}));
        QTest::qWait(700); // several attempts' worth
        QCOMPARE(h.board.Received(), Bytes({85, 170}));
        QCOMPARE(h.Attempts(), 1);
        h.board.Healthy();
        h.board.Send(Bytes({85}));
        QTRY_COMPARE(h.sessions, 1);
        QCOMPARE(h.link.AbortWait, quint8(0)); // though Timer1 ticked all the while
    }

    void WhatWaitsAtTheStartIsThrownAway()
    {
        Handshake h;
        h.link.OpenPort();
        h.board.Send(Bytes({1, 2, 27}));
        QVERIFY(h.Arrived(3));
        h.Connect();
        QCOMPARE(h.com.InBufferCount(), 0);
        QTRY_VERIFY(h.Attempts() >= 3);
        QVERIFY(!h.board.Received().contains(char(170)));
    }

    void ATwentySevenOfAnEarlierAttemptIsNoAnswer()
    {
        Handshake h;
        bool answered = false;
        h.board.greet = [&](quint8 greeting) {
            if (greeting == 85)
                return std::exchange(answered, true) ? QByteArray() : Bytes({27});
            return Bytes({9}); // no 85
        };
        h.Connect();
        QTRY_VERIFY(h.Attempts() >= 5); // the later ones hear nothing at all
        QCOMPARE(h.board.Received().count(char(170)), 1);
    }

    void ABoardThatStreamsIsHeardOut()
    {
        Handshake h;
        QTimer stream;
        quint8 next = 28;
        bool streaming = true;
        connect(&stream, &QTimer::timeout, &h.com, [&] {
            if (streaming)
                h.board.Send(Bytes({next}));
            next = next == 84 ? 28 : next + 1; // never 27 nor 85
        });
        h.Connect();
        stream.start(2);
        QTRY_VERIFY(h.Attempts() >= 4);
        QVERIFY(!h.board.Received().contains(char(170)));
        streaming = false;
        h.board.Healthy();
        QTRY_COMPARE(h.sessions, 1);
        QCOMPARE(h.texts.last(), slaveConnected);
    }

    void NoiseBetweenTheGreetingAndTheReportIsThrownAway()
    {
        Handshake h;
        h.board.Healthy();
        h.board.On(1, 0, [](const QByteArray &) { return Bytes({5, 4, 27, 0, 0, 6, 99}); });
        h.board.On(37, 1, [](const QByteArray &p) { return Bytes({1, 2, 27, p[0] + 1, 27}); });
        h.Connect();
        QTRY_COMPARE(h.sessions, 1);
        QCOMPARE(h.texts.last(), slaveConnected);
        for (size_t i = 0; i < 16; ++i)
            QCOMPARE(int(h.link.MasterEeprom[i]), int(i) + 1);
    }

    void TicksOfTimer1DoNotAbortTheReport()
    {
        Handshake h;
        h.board.Healthy();
        h.board.On(1, 0, [](const QByteArray &) { return QByteArray(); });
        h.Connect();
        QTRY_VERIFY(h.board.Received().endsWith(Bytes({27, 1})));
        QVERIFY(!h.timer1.Enabled());
        QCOMPARE(h.link.AbortWait, quint8(0));
        QTest::qWait(100); // no time-out either
        QCOMPARE(h.texts.last(), connected);
        QCOMPARE(h.sessions, 0);
        QVERIFY(!h.runner.Idle());
        h.board.Send(Bytes({27, 0, 0, 6, 0}));
        QTRY_COMPARE(h.sessions, 1);
    }

    void ASecondHandshakeReplacesTheFirst()
    {
        Timer::SetScale(1);
        Handshake h;
        h.Connect();
        QTRY_VERIFY(h.Attempts() >= 3);
        h.runner.Drop();
        QVERIFY(!h.timer1.Enabled());
        QVERIFY(!h.timer2.Enabled());
        QCOMPARE(h.link.AbortWait, quint8(0));
        h.texts.clear();
        h.board.Healthy();
        h.Connect();
        QTRY_COMPARE(h.sessions, 1);
        QCOMPARE(h.texts.first(), trying + QStringLiteral(" 0")); // counted from the start
    }

    void OneThatIsDroppedWhileItLoadsSaysSo()
    {
        Handshake h;
        h.board.Healthy();
        h.board.On(38, 1, [](const QByteArray &) { return QByteArray(); });
        h.Connect();
        QTRY_COMPARE(h.progress.size(), 18); // the start and 0 to 16
        h.runner.Drop();
        QCOMPARE(h.progress.last(), QStringLiteral("over"));
        QCOMPARE(h.sessions, 0);
    }

    void APortThatCannotBeOpenedEndsIt()
    {
        Handshake h;
        h.com.SetPortName(QStringLiteral("/dev/ttyNotThere"));
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
        Handshake h;
        h.board.greet = [&](quint8 greeting) { return greeting == 85 && answered > 0 ? Bytes({27}) : QByteArray(); };
        h.Connect();
        QTRY_VERIFY(h.board.Received().contains(char(answered > 0 ? 170 : 85)));
        h.link.ClosePort();
        h.link.OpenPort();
        h.board.Healthy();
        QTRY_COMPARE(h.sessions, 1);
        QVERIFY(h.runner.ThrewNothing());
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
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("ttyBoard"));
        Handshake h;
        QVERIFY(QFile::link(h.board.Port(), path));
        h.com.SetPortName(path);
        h.board.greet = [&](quint8 greeting) { return first && greeting == 85 ? Bytes({27}) : QByteArray(); };
        h.Connect();
        QTRY_VERIFY(h.board.Received().contains(char(first ? 170 : 85)));
        QFile::remove(path);
        h.board.Unplug();
        QTRY_VERIFY(h.com.Lost());
        QTest::qWait(100); // ticks of Timer1 send nothing now
        QVERIFY(h.runner.ThrewNothing());
        ScriptedBoard again;
        again.Healthy();
        QVERIFY(QFile::link(again.Port(), path));
        QTRY_COMPARE(h.sessions, 1);
        QVERIFY(again.Received().endsWith(WholeHandshake()));
    }

    void AnotherSpeedIsGivenUpAfterAWhile()
    {
        Handshake h; // 5 s are 500 ms here
        h.com.SetSettings(QStringLiteral("19200,n,8,1"));
        h.Connect();
        QCOMPARE(h.board.Speed(), 19200);
        QElapsedTimer watch;
        watch.start();
        QTRY_COMPARE(h.board.Speed(), 9600);
        QVERIFY2(watch.elapsed() >= 490, qPrintable(QString::number(watch.elapsed())));
        QVERIFY(h.Attempts() > 1);
        QCOMPARE(h.com.Settings(), QStringLiteral("9600,n,8,1"));
        watch.start();
        QTRY_COMPARE(h.board.Speed(), 19200);
        QVERIFY2(watch.elapsed() >= 400, qPrintable(QString::number(watch.elapsed())));
        QTRY_COMPARE(h.board.Speed(), 9600);
        h.board.Healthy();
        QTRY_COMPARE(h.sessions, 1);
        const int speed = h.board.Speed();
        QTest::qWait(600); // the board has answered: it stays at this speed
        QCOMPARE(h.board.Speed(), speed);
        QVERIFY(h.runner.ThrewNothing());
    }

    void TheOrdinarySpeedIsKept()
    {
        Handshake h;
        h.Connect();
        QTest::qWait(700); // longer than 5 s at this scale
        QCOMPARE(h.board.Speed(), 9600);
    }

    void ABoardAtTheOtherSpeedIsConnectedThere()
    {
        Timer::SetScale(1);
        Handshake h;
        h.board.Healthy();
        h.com.SetSettings(QStringLiteral("19200,n,8,1"));
        h.Connect();
        QTRY_COMPARE(h.sessions, 1);
        QCOMPARE(h.board.Speed(), 19200);
        QCOMPARE(h.board.Received(), WholeHandshake());
    }

    void NobodyElseTalksDuringTheGreeting()
    {
        Handshake h;
        QByteArray answer;
        h.Connect();
        QTRY_VERIFY(h.Attempts() >= 1);
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &answer));
        QTest::qWait(600); // more than the patience with a silent board
        QVERIFY(!h.board.Received().contains(char(27)));
        h.board.Healthy();
        h.board.channel[13] = 522;
        QTRY_VERIFY(h.runner.Idle());
        QCOMPARE(answer, Bytes({2, 10, 0}));
        QCOMPARE(h.sessions, 1);
    }

    void AnExchangeThatItCutStartsAgainAfterIt()
    {
        Timer::SetScale(1);
        Handshake h;
        QByteArray answer;
        h.link.OpenPort();
        h.runner.Start(Ask(&h.link, Request(13), Reply::Framed(2), &answer));
        QTRY_COMPARE(h.board.Received(), Bytes({27, 13}));
        h.board.TakeReceived();
        h.board.Healthy();
        h.board.channel[13] = 522;
        h.link.ClosePort();
        h.Connect();
        QTRY_VERIFY(h.runner.Idle());
        QVERIFY(h.runner.ThrewNothing());
        QCOMPARE(h.board.Received(), WholeHandshake() + Bytes({27, 13}));
        QCOMPARE(answer, Bytes({2, 10, 0}));
    }
};

REGISTER_TEST(TestHandshake)
#include "tst_handshake.moc"
