// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulatedboard.h"
#include "simulatedclock.h"
#include "support/suite.h"

namespace {
const QByteArray readSupply("\x1b\x06", 2);

/// A board on a port that is open, and what comes of it with the moments at which it comes.
struct Bench
{
    explicit Bench(const QStringList &options = {}, int baud = 9600)
    {
        board.SwitchOn(options);
        LineSettings settings;
        settings.baud = baud;
        port.Open(QStringLiteral("memory"), settings);
        QObject::connect(&board, &SimulatedBoard::Sent, &board,
                         [this](const QByteArray &bytes) { sent.append({clock.Now() - asked, bytes}); });
    }
    QByteArray Ask(const QByteArray &request)
    {
        asked = clock.Now();
        port.Send(request);
        clock.Run(100ms);
        return port.Take();
    }

    SimulatedClock clock;
    MemoryPort port;
    SimulatedBoard board{port};
    Clock::Duration asked{};
    QList<std::pair<Clock::Duration, QByteArray>> sent;
};
} // namespace

class TestSimulatedBoard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AnswersAfterAMillisecond()
    {
        Bench bench;
        QCOMPARE(bench.Ask("U"), QByteArray("\x1b"));
        QCOMPARE(bench.sent.size(), 1);
        QVERIFY(bench.sent[0].first >= 1ms && bench.sent[0].first <= 1001us);
        bench.board.SwitchOff();
        QCOMPARE(bench.Ask("U"), QByteArray());
    }

    void APacedLineTakesTheTimeOfItsBytes_data()
    {
        QTest::addColumn<int>("baud");
        QTest::newRow("9600") << 9600;
        QTest::newRow("19200") << 19200;
    }
    void APacedLineTakesTheTimeOfItsBytes()
    {
        QFETCH(int, baud);
        Bench bench({QStringLiteral("--pace")}, baud);
        QCOMPARE(bench.Ask(readSupply).size(), 4);
        QCOMPARE(bench.sent.size(), 4);
        for (int i = 0; i < 4; ++i) {
            const Clock::Duration due = 1ms + std::chrono::microseconds((2 + i + 1) * 10'000'000 / baud);
            QVERIFY(bench.sent[i].first >= due && bench.sent[i].first <= due + 2us);
        }
    }

    void TheSameSeedGivesTheSameRun()
    {
        const auto run = [](int seed) {
            Bench bench({QStringLiteral("--pace"), QStringLiteral("--seed"), QString::number(seed),
                         QStringLiteral("--fault"), QStringLiteral("lost:p=0.05,dir=both"), QStringLiteral("--fault"),
                         QStringLiteral("late:p=0.05,ms=10"), QStringLiteral("--fault"),
                         QStringLiteral("added:p=0.05")});
            for (int i = 0; i < 200; ++i)
                bench.Ask(readSupply);
            return bench.sent;
        };
        const auto first = run(1);
        QVERIFY(first.size() > 600);
        QVERIFY(run(1) == first);
        QVERIFY(run(2) != first);
    }

    void StreamsByItself()
    {
        Bench bench({QStringLiteral("--time-scale"), QStringLiteral("10")});
        bench.Ask(QByteArray("\x1b\x03", 2));
        QVERIFY(bench.board.Core().Streaming());
        bench.clock.Run(1s);
        QCOMPARE(bench.port.Take().size(), 30 * 10);
        bench.port.Close();
        bench.clock.Run(1s);
        bench.port.Open({}, {});
        QCOMPARE(bench.port.Take(), QByteArray()); // nobody heard it
    }

    void ItsTrueStateIsSeen()
    {
        Bench bench;
        const Board::Device &device = bench.board.Hardware();
        QVERIFY(!device.Switches().discharge);
        QCOMPARE(bench.Ask(QByteArray("\x1b\x10\x01", 3)).size(), 1);
        QVERIFY(device.Switches().discharge);
        bench.board.Tell("volts 7.5");
        QCOMPARE(device.Truth().packVolts, 7.5);
        bench.board.Tell("button 3");
        QVERIFY(device.Pressed(3));
    }

    // ---- its port

    void AnAdapterIsTakenAgainUnderAnyName()
    {
        Bench bench;
        bench.port.Unplug();
        bench.clock.Run(1s);
        QVERIFY(bench.port.IsLost());
        bench.port.Plug(QStringLiteral("another"));
        bench.clock.Run(1s);
        QCOMPARE(bench.Ask("U"), QByteArray("\x1b"));
        bench.port.Close();
        bench.port.Open(QStringLiteral("memory"), {}); // is found by its former name
        QCOMPARE(bench.Ask("U"), QByteArray("\x1b"));
        bench.port.Close();
        QVERIFY_EXCEPTION_THROWN(bench.port.Open(QStringLiteral("third"), {}), PortError);
    }

    void AStrangerIsNotTakenForTheAdapterThatWasLost()
    {
        Bench bench;
        bench.port.Unplug();
        bench.clock.Run(1s);
        bench.port.PlugStranger();
        bench.clock.Run(1s);
        QVERIFY(bench.port.IsLost());
        bench.port.Open(QStringLiteral("memory"), {}); // unless it is asked for
        QCOMPARE(bench.Ask("U"), QByteArray());
        bench.port.Unplug();
        bench.port.Plug();
        bench.clock.Run(1s);
        QVERIFY(bench.port.IsLost());
        bench.port.Open(QStringLiteral("memory"), {});
        QCOMPARE(bench.Ask("U"), QByteArray("\x1b"));
    }

    void KeepsItsMemories()
    {
        const QTemporaryDir folder;
        const QStringList options{QStringLiteral("--memory"), folder.filePath(QStringLiteral("memory"))};
        Bench bench(options);
        bench.Ask(QByteArray("\x1b\x27\x0a\x5a", 4));
        QCOMPARE(bench.board.Core().Stored().Master(10), 0x5a);
        bench.board.SwitchOn(options);
        QCOMPARE(bench.board.Core().Stored().Master(10), 0x5a);
        bench.board.SwitchOn();
        QVERIFY(bench.board.Core().Stored().Master(10) != 0x5a);
    }
};

REGISTER_TEST(TestSimulatedBoard)
#include "tst_simulatedboard.moc"
