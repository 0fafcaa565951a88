// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "base/messages.h"
#include "runbench.h"
#include "runs/chargeur.h"
#include "runs/unattendedrun.h"
#include "support/suite.h"

#include <QSignalSpy>

namespace {
/// A charge that nobody watches, on a connected scripted board.
struct Bench : RunBench<Chargeur>
{
    Bench()
    {
        messages::UseConsole([this] { ++failures; });
    }
    ~Bench() { messages::UseConsole({}); }

    UnattendedCharge driver{link, window, {.amperes = 1}, 100000};
    QSignalSpy over{&driver, &Unattended::Over};
    QSignalSpy alarmed{&driver, &Unattended::Alarmed};
    int failures = 0;
};
} // namespace

class TestUnattended : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void WithoutAConnectionItGivesUpAfterAMinute()
    {
        Bench bench;
        Simulated().Run(59s);
        QCOMPARE(bench.failures, 0);
        Simulated().Run(2s);
        QCOMPARE(bench.failures, 1);
        QCOMPARE(bench.board.TakeReceived(), QByteArray());
    }

    void OnceBegunItGoesOn()
    {
        Bench bench;
        bench.driver.SetControls();
        Simulated().Run(1h);
        QVERIFY(bench.window.Running());
        QCOMPARE(bench.failures, 0);
        QCOMPARE(bench.over.size(), 0);
    }

    void ItsRuleEndsItWell()
    {
        Bench bench;
        bench.driver.SetControls();
        Simulated().Run(10s);
        bench.board.channel[12] -= 10;
        SOON(!bench.over.isEmpty());
        QCOMPARE(bench.over[0][0].toInt(), 0);
        QVERIFY(!bench.board.ChargeOn());
    }

    void ItFollowsALogThatWasRemoved()
    {
        Bench bench;
        bench.driver.SetControls();
        Simulated().Run(10s);
        const auto records = bench.Records();
        QVERIFY(records > 5);
        const QString log = bench.window.LogPath();
        QVERIFY(QFile::remove(log));
        QFile(log).open(QIODevice::WriteOnly); // somebody else's
        drive::SetRoot(bench.folder.filePath(QStringLiteral("c")));
        Simulated().Run(10s);
        drive::SetRoot({});
        QVERIFY(bench.window.LogPath() != log);
        QVERIFY(bench.Records() > records + 5);
    }

    void ACauseHasAStatusOfItsOwn()
    {
        Bench bench;
        bench.driver.SetControls();
        Simulated().Run(10s);
        bench.window.StopFor(QStringLiteral("mise en veille"));
        QCOMPARE(bench.over.size(), 1);
        QCOMPARE(bench.over[0][0].toInt(), 3);
    }

    void ABoardThatMeasuresNoMoreIsToldOf()
    {
        Bench bench;
        bench.driver.SetControls();
        Simulated().Run(10s);
        bench.port->disconnect(&bench.board);
        Simulated().Run(14s);
        QCOMPARE(bench.alarmed.size(), 0);
        Simulated().Run(3s);
        QCOMPARE(bench.alarmed.size(), 1);
        QCOMPARE(bench.over.size(), 0);
    }
};

REGISTER_TEST(TestUnattended)
#include "tst_unattended.moc"
