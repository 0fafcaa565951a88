// SPDX-License-Identifier: GPL-3.0-or-later
#include "guard/guardian.h"
#include "link/command.h"
#include "simulation/scriptedboard.h"
#include "support/coroutines.h"
#include "support/programlink.h"
#include "support/suite.h"

#include <QSignalSpy>
#include <QtTest>

#include <csignal>

#include <sys/wait.h>

namespace {
struct Bench : ProgramLink
{
    Bench()
    {
        board.Healthy();
        link.InitSerialPort();
        link.OpenPort();
    }

    /// Something is on that the program has to see off.
    void SwitchOn() { runner.Start(link.outputs.Send(run, command::CutDischarge, 1)); }
    void SwitchOff() { runner.Start(link.outputs.End(run, run->off)); }

    ScriptedBoard board{*port};
    Outputs::RunPtr run = link.outputs.Begin({{command::CutDischarge, 0}});
    Guardian guardian{link, [] { return -1; }};
    QSignalSpy missing{&guardian, &Guardian::MissingChanged};
    Runner runner;
};
} // namespace

/// The program's side of the guard.
class TestGuardian : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ThereIsAGuardWhileSomethingIsOn()
    {
        Bench bench;
        QCOMPARE(bench.guardian.Process(), 0);
        bench.SwitchOn();
        SOON(bench.guardian.Process() != 0);
        bench.SwitchOff();
        SOON_EQUAL(bench.guardian.Process(), 0);
        QVERIFY(bench.missing.isEmpty());
        QVERIFY(bench.runner.ThrewNothing());
    }

    void OneThatCannotBeStartedIsMissing()
    {
        Bench bench;
        bench.guardian.SetProgram(QStringLiteral("/nowhere/voltaire-guard"));
        bench.SwitchOn();
        SOON(bench.guardian.IsMissing());
        Simulated().Run(1min);
        QVERIFY(bench.guardian.IsMissing());
        QCOMPARE(bench.missing.size(), 1);
        bench.SwitchOff();
        SOON(!bench.guardian.IsMissing());
    }

    void OneThatHasJustBeenStartedIsDeafToWhatEndsTheProgram()
    {
        pid_t process = 0;
        {
            Bench bench;
            bench.SwitchOn();
            SOON(bench.guardian.Process() != 0);
            process = bench.guardian.Process();
            for (const int number : {SIGHUP, SIGINT, SIGTERM})
                kill(process, number); // it may not have begun with its main function
        }
        int status = 0;
        QCOMPARE(waitpid(process, &status, 0), process);
        QVERIFY(WIFEXITED(status)); // when its socket was closed
        QCOMPARE(WEXITSTATUS(status), 0);
    }

    void OneThatEndsAtOnceIsNotStartedAllTheTime()
    {
        Bench bench;
        bench.guardian.SetProgram(QStringLiteral("/bin/true"));
        bench.SwitchOn();
        QTRY_VERIFY(bench.guardian.IsMissing());
        QCOMPARE(bench.guardian.Process(), 0);
        bench.guardian.SetProgram(QCoreApplication::applicationDirPath() + QStringLiteral("/voltaire-guard"));
        Simulated().Run(4s);
        QVERIFY(bench.guardian.IsMissing());
        Simulated().Run(2s); // now and then it is tried again
        QVERIFY(!bench.guardian.IsMissing());
        QVERIFY(bench.guardian.Process() != 0);
    }
};

REGISTER_TEST(TestGuardian)
#include "tst_guardian.moc"
