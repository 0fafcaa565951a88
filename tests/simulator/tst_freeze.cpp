// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/simulatedclock.h"
#include "simulator/hands.h"
#include "simulator/judge.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QtTest>

namespace {
constexpr int stepBytes = 37;  ///< that the board sends in a step of a charge
constexpr int lengths = 119;   ///< 0.2 s to 12 s
constexpr auto settles = 10s;  ///< behind a freeze
constexpr auto alarming = 11s; ///< a run without a record for fifteen seconds is ended

/// The whole program, connected, with the window of the charge open.
struct Charge
{
    Charge()
    {
        QDir::setCurrent(folder.path());
        board.SwitchOn();
        board.Tell(
            "volts 5.6"); // a pack would sag while it stands still with the charge interrupted, and end the charge
        program.Load();
        const auto *display = program.findChild<QPlainTextEdit *>(QStringLiteral("TXT_Display"));
        clock.RunUntil([display] { return display->toPlainText().contains(QStringLiteral("Srl Connecté")); });
        Click("Main", "cb_chargeur");
        clock.Run(1s);
    }
    ~Charge() { QDir::setCurrent(QStringLiteral("/")); }

    void Do(const Act &act)
    {
        judge.Note(act);
        hands.Do(act);
    }
    void Click(const char *window, const char *button)
    {
        Do({{}, QStringLiteral("click"), QLatin1String(window), QLatin1String(button), {}});
    }
    void Run(Clock::Duration length)
    {
        for (const auto end = clock.Now() + length; clock.Now() < end;) {
            clock.Run(std::min<Clock::Duration>(end - clock.Now(), 1s));
            judge.Look();
        }
    }

    SimulatedClock clock;
    QTemporaryDir folder;
    MemoryPort *port = new MemoryPort;
    Main program{std::unique_ptr<Port>(port)};
    FaultyBoard board;
    Counts counts;
    Judge judge{program, *port, (board.Attach(port), board), counts};
    const Hands hands{{}, {}};
};

enum Meanwhile
{
    Nothing,
    Stop,
    LookAway ///< closes the port and opens it
};
} // namespace

/// A board that stands still in the middle of a step, and then goes on as if nothing had been: it answers all that it
/// was asked meanwhile, in order, and nobody may take another's answer for his own.
class TestFreeze : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void NoAnswerIsTakenForAnothers_data()
    {
        QTest::addColumn<Meanwhile>("meanwhile");
        QTest::newRow("while nobody does anything") << Nothing;
        QTest::newRow("while the charge is stopped") << Stop;
        QTest::newRow("while the port is opened anew") << LookAway;
    }
    void NoAnswerIsTakenForAnothers()
    {
        QFETCH(Meanwhile, meanwhile);
        Charge charge;
        const RunWindow &window = charge.program.ChargeWindow();
        for (int i = 0; i < lengths; ++i) {
            const Clock::Duration length = 200ms + i * 100ms;
            const int byte = 1 + i * 7 % stepBytes; // all of them were tried once
            const QByteArray what =
                QStringLiteral("frozen for %1 ms behind byte %2").arg(length / 1ms).arg(byte).toUtf8();
            QSignalSpy recorded(&window, &RunWindow::Recorded);
            charge.Click("Chargeur", "CBstart");
            QVERIFY2(charge.clock.RunUntil([&] { return !recorded.isEmpty(); }, 5s), what.constData());
            charge.Run(500ms);
            charge.board.FreezeAfter(byte, length);
            charge.Run(560ms + i % 7 * 40ms); // some moments behind the freeze
            if (meanwhile == Stop)
                charge.Click("Chargeur", "CBStop");
            if (meanwhile == LookAway)
                charge.Do({{}, QStringLiteral("look away"), {}, {}, {}});
            charge.Run(length + settles);
            const std::optional<Violation> &verdict = charge.judge.Verdict();
            QVERIFY2(!verdict,
                     (what + ": " + (verdict ? verdict->name + verdict->detail : QString()).toUtf8()).constData());
            const bool alarm = !OpenBoxes().isEmpty();
            QVERIFY2(!alarm || length > alarming, what.constData());
            AnswerBoxes();
            QCOMPARE(window.Running(), meanwhile != Stop && !alarm);
            charge.Click("Chargeur", "CBStop");
            charge.Run(settles);
            const Board::Lines &lines = charge.board.Hardware().Switches();
            QVERIFY2(!lines.charge && !lines.discharge && !lines.power, what.constData());
            const Codebas &link = charge.program.Link();
            QVERIFY2(link.line.Idle() && !link.outputs.Unconfirmed(), what.constData());
        }
    }
};

REGISTER_TEST(TestFreeze)
#include "tst_freeze.moc"
