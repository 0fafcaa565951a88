// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "runs/chargeur.h"
#include "runs/unattendedrun.h"
#include "support/boardlink.h"
#include "support/boxes.h"
#include "support/suite.h"
#include "trace/tracedport.h"

#include <QSignalSpy>

namespace {
/// A program on the virtual board that charges by itself; its line is traced.
struct Charge : BoardLink
{
    Charge(const QStringList &options, const QString &trace)
        : BoardLink([&trace](std::unique_ptr<Port> bare) {
            return std::make_unique<TracedPort>(std::move(bare), std::make_unique<TraceFile>(trace));
        })
    {
        QDir::setCurrent(folder.path());
        drive::SetRoot(folder.path());
        board.SwitchOn(options);
        link.InitSerialPort();
        link.OpenPort();
    }
    ~Charge()
    {
        QDir::setCurrent(QStringLiteral("/"));
        drive::SetRoot(QString());
    }

    /// Charges until the rule of the run ends it; the run's log, empty when it does not end so.
    QByteArray Log()
    {
        if (!Connect())
            return "not connected";
        Kept<Chargeur> window(link);
        UnattendedCharge driver(link, window, {.amperes = 2, .mode = 1}, 1000000);
        const QSignalSpy over(&driver, &Unattended::Over);
        window.Open();
        driver.SetControls();
        clock.RunUntil([&over] { return !over.isEmpty(); }, 2h);
        QFile file(window.LogPath());
        if (over.isEmpty() || over[0][0].toInt() != 0 || !file.open(QIODevice::ReadOnly))
            return {};
        return file.readAll();
    }
};
} // namespace

class TestReplayedRun : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AChargeAndItsReplayGiveTheSameLog_data()
    {
        QTest::addColumn<QStringList>("faults");
        QTest::newRow("undisturbed") << QStringList();
        QTest::newRow("with late answers")
            << QStringList{QStringLiteral("--fault"), QStringLiteral("late:p=0.002,ms=400")};
    }
    void AChargeAndItsReplayGiveTheSameLog()
    {
        QFETCH(QStringList, faults);
        const QTemporaryDir folder;
        const QString trace = folder.filePath(QStringLiteral("trace"));
        const QByteArray log = Charge(QStringList{QStringLiteral("--soc"), QStringLiteral("95")} + faults, trace).Log();
        QVERIFY2(log.count('\n') > 100, log.left(200).constData());
        const QStringList replay{QStringLiteral("--replay"), trace, QStringLiteral("--soc"), QStringLiteral("1")};
        QCOMPARE(Charge(replay, folder.filePath(QStringLiteral("again"))).Log(), log);
    }

    void AGreetingThatIsRepeatedWhileItsAnswerComesIsAnsweredOnce()
    {
        const QTemporaryDir folder;
        const QString trace = folder.filePath(QStringLiteral("trace"));
        QFile file(trace);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("0 > 85\n80000 < 27\n90000 > 170\n91000 < 85\n");
        file.close();
        Charge replay({QStringLiteral("--replay"), trace}, folder.filePath(QStringLiteral("again")));
        QByteArray answered;
        connect(&replay.board, &SimulatedBoard::Sent, this,
                [&answered](const QByteArray &bytes) { answered += bytes; });
        for (int i = 0; i < 20; ++i) {
            replay.com.Output("U");
            replay.clock.Run(10ms);
        }
        QCOMPARE(answered.left(1), QByteArray("\x1b"));
        QVERIFY(answered.size() <= 3); // and again when it is asked for again
    }

    void PausesAreShortenedByTheTimeScale()
    {
        const QTemporaryDir folder;
        const QString trace = folder.filePath(QStringLiteral("trace"));
        QFile file(trace);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("0 > 27 13\n8000000 < 27 2 45 170\n");
        file.close();
        Charge replay({QStringLiteral("--replay"), trace, QStringLiteral("--time-scale"), QStringLiteral("100")},
                      folder.filePath(QStringLiteral("again")));
        replay.com.Output(QByteArray("\x1b\x0d"));
        replay.clock.Run(70ms);
        QCOMPARE(replay.com.InBufferCount(), 0);
        replay.clock.Run(40ms);
        QCOMPARE(replay.com.InBufferCount(), 4);
    }
};

REGISTER_TEST(TestReplayedRun)
#include "tst_replayed_run.moc"
