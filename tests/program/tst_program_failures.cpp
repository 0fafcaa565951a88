// SPDX-License-Identifier: GPL-3.0-or-later
#include "program.h"
#include "support/script.h"
#include "support/suite.h"

#include <QtTest>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {
const QString demo = QStringLiteral("--demo");

/// A place where nobody can make anything, not even who may do everything.
const QString forbidden = QStringLiteral("/proc");

/// The program, with a stand-in beside it for the virtual board.
class ProgramWithStandIn : public Program
{
public:
    ProgramWithStandIn(const QTemporaryDir &folder, const QByteArray &script) : Program(folder)
    {
        executable = folder.filePath(QStringLiteral("voltaire"));
        QVERIFY(QFile::copy(QStringLiteral(VOLTAIRE), executable));
        if (!script.isEmpty())
            QVERIFY(WriteScript(folder.filePath(QStringLiteral("virtual-board")), script));
    }
};
} // namespace

/// Unattended runs end with a message and a status, whatever fails.
class TestProgramFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AVirtualBoardThatDoesNotStartEndsTheDemonstration_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::newRow("missing") << QByteArray();
        QTest::newRow("ends well") << QByteArray("exit 0");
        QTest::newRow("no pseudo-terminal") << QByteArray("echo 'virtual-board : posix_openpt' >&2; exit 1");
        QTest::newRow("killed") << QByteArray("kill -KILL $$");
    }
    void AVirtualBoardThatDoesNotStartEndsTheDemonstration()
    {
        QFETCH(QByteArray, script);
        QTemporaryDir folder;
        ProgramWithStandIn program(folder, script);
        program.Start(chargeOptions + QStringList{demo});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process.exitCode(), 1);
        const QString said = QString::fromUtf8(program.process.readAllStandardError());
        QVERIFY2(said.contains(QStringLiteral("La carte virtuelle ne démarre pas : ")), qPrintable(said));
    }

    void AVirtualBoardThatEndsInMidRunEndsTheDemonstration_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("killed") << SIGKILL;
        QTest::newRow("ends well") << SIGTERM;
    }
    void AVirtualBoardThatEndsInMidRunEndsTheDemonstration()
    {
        QFETCH(int, signal);
        QTemporaryDir folder;
        ProgramWithStandIn program(folder, "echo $$ >pid; exec " VIRTUAL_BOARD " \"$@\"");
        program.Start(chargeOptions + QStringList{demo});
        QVERIFY(program.WaitForProgress(3));
        QFile pid(folder.filePath(QStringLiteral("pid")));
        QVERIFY(pid.open(QIODevice::ReadOnly));
        QCOMPARE(kill(pid.readAll().trimmed().toInt(), signal), 0);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 1);
        const QString said = QString::fromUtf8(program.process.readAllStandardError());
        QVERIFY2(said.contains(QStringLiteral("La carte virtuelle ne marche plus : ")), qPrintable(said));
    }

    void CtrlCIsForTheProgramAlone()
    {
        QTemporaryDir folder;
        Program program(folder);
        program.process.setChildProcessModifier([] { setpgid(0, 0); });
        program.Start(chargeOptions + QStringList{demo});
        QVERIFY(program.WaitForProgress(3));
        QCOMPARE(kill(-static_cast<pid_t>(program.process.processId()), SIGINT), 0); // as a terminal does
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 130);
        QVERIFY(!program.process.readAllStandardError().contains("virtuelle"));
    }

    void NoDisplayIsNeeded_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("value");
        QTest::newRow("none") << QString() << QString();
        QTest::newRow("one that is not there") << QStringLiteral("DISPLAY") << QStringLiteral(":7777");
        QTest::newRow("another that is not there") << QStringLiteral("WAYLAND_DISPLAY") << QStringLiteral("nowhere");
        QTest::newRow("a kind that is unknown") << QStringLiteral("QT_QPA_PLATFORM") << QStringLiteral("nonsense");
    }
    void NoDisplayIsNeeded()
    {
        QFETCH(QString, name);
        QFETCH(QString, value);
        QTemporaryDir folder;
        Program program(folder);
        QProcessEnvironment environment = program.process.processEnvironment();
        for (const char *each : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(QString::fromLatin1(each));
        if (!name.isEmpty())
            environment.insert(name, value);
        program.process.setProcessEnvironment(environment);
        program.Start(chargeOptions + QStringList{demo});
        QVERIFY(program.WaitForProgress(1));
    }

    void ADriveThatCannotBeMadeDoesNotKeepFromCharging()
    {
        QTemporaryDir folder;
        Program program(folder);
        program.drive = forbidden + QStringLiteral("/voltaire");
        program.Start(chargeOptions + QStringList{demo}); // the log lies in the current folder
        QVERIFY(program.WaitForProgress(1));
        QVERIFY(program.process.readAllStandardError().contains("Erreur de fichier : /proc/voltaire/temp"));
    }

    void ADriveThatCannotBeMadeEndsAMeasurementBeforeItBegins()
    {
        QTemporaryDir folder;
        Program program(folder);
        program.drive = forbidden + QStringLiteral("/voltaire");
        program.Start({demo, QStringLiteral("--run"), QStringLiteral("capacity"), QStringLiteral("--cells"),
                       QStringLiteral("4"), QStringLiteral("--charge"), QStringLiteral("1"),
                       QStringLiteral("--discharge"), QStringLiteral("1")});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 1);
        QVERIFY(program.process.readAllStandardError().contains("Erreur de fichier : /proc/voltaire/temp"));
    }

    void ARemovedFolderOfTheLogIsMadeAnew()
    {
        QTemporaryDir folder;
        const QString work = folder.filePath(QStringLiteral("work"));
        QVERIFY(QDir().mkdir(work));
        Program program(folder);
        program.process.setWorkingDirectory(work);
        program.Start(chargeOptions + QStringList{demo});
        QVERIFY(program.WaitForProgress(5));
        program.Signal(SIGSTOP);
        siginfo_t stopped{};
        QCOMPARE(waitid(P_PID, static_cast<id_t>(program.process.processId()), &stopped, WSTOPPED | WNOWAIT), 0);
        const QString log = OnlyLog(work);
        const QByteArrayList before = RecordsOf(log);
        QVERIFY(before.size() - 1 >= 5);
        QVERIFY(QDir(work).removeRecursively());
        program.Signal(SIGCONT);
        QVERIFY(program.WaitForProgress(10));
        program.Signal(SIGINT);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 130);
        const QByteArrayList after = RecordsOf(log);
        QVERIFY(after.size() >= before.size() + 9);
        QCOMPARE(after.first(before.size() - 1), before.first(before.size() - 1));
        const QByteArray said = program.process.readAllStandardError();
        QCOMPARE(said.count("a été supprimé en cours de travail"), 1);
    }

    void ALogThatCannotBeMadeEndsAChargeBeforeItBegins()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.process.setWorkingDirectory(forbidden);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 1);
        QVERIFY(program.process.readAllStandardError().contains("Erreur de fichier : St_CH_D"));
        QVERIFY(board.Sent().endsWith("\x1b\x29")); // the clock was read, and nothing switched
    }
};

REGISTER_TEST(TestProgramFailures)
#include "tst_program_failures.moc"
