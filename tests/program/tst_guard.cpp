// SPDX-License-Identifier: GPL-3.0-or-later
#include "program.h"
#include "support/loginmanager.h"
#include "support/suite.h"

#include <QtTest>

namespace {
const QByteArray chargeOn("\x1b\x0f\x01", 3);
const QByteArray dischargeOn("\x1b\x10\x01", 3);
const QByteArray dischargeOff("\x1b\x10\x00", 3);
const QByteArray capacityOff("\x1b\x11\x00\x1b\x0f\x00\x1b\x10\x00\x1b\x12\x01", 12);

/// A run of each kind: how it is started, the write that lets its current flow, and those with which its guard switches
/// it off.
struct Kind
{
    const char *options;
    QByteArray on;
    QByteArray off;
};
const std::map<QByteArray, Kind> kinds = {
    {"charge", {"--run charge --current 1", chargeOn, guardWrites}},
    {"discharge", {"--run discharge --cells 4 --current 1", dischargeOn, dischargeOff}},
    {"capacity", {"--run capacity --cells 4 --charge 1 --discharge 1", chargeOn, capacityOff}}};

class Guarded : public Program
{
public:
    using Program::Program;

    void Start(const Kind &kind, const QString &port)
    {
        Program::Start(QString::fromLatin1(kind.options).split(u' ') + QStringList{QStringLiteral("--time-scale"),
                                                                                   QStringLiteral("200"),
                                                                                   QStringLiteral("--port"), port});
    }
    /// The process of its guard, 0 when it has none.
    pid_t Guard() const
    {
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(process.processId()));
        if (!children.open(QIODevice::ReadOnly))
            return 0;
        const auto all = children.readAll().split(' ');
        for (const QByteArray &child : all) {
            QFile name(QStringLiteral("/proc/%1/comm").arg(QString::fromLatin1(child)));
            if (!child.isEmpty() && name.open(QIODevice::ReadOnly) && name.readAll().trimmed() == "voltaire-guard")
                return static_cast<pid_t>(child.toInt());
        }
        return 0;
    }
    /// What guards have told, wherever the run's log is.
    QByteArray Notes() const
    {
        QByteArray all;
        for (const QString &folder :
             {process.workingDirectory(), drive + QStringLiteral("/temp"), drive + QStringLiteral("/log")})
            for (const QString &name : QDir(folder).entryList({QStringLiteral("*.note")}, QDir::Files)) {
                QFile note(QDir(folder).filePath(name));
                if (note.open(QIODevice::ReadOnly))
                    all += note.readAll();
            }
        return all;
    }
    QStringList Marks() const
    {
        return QDir(drive + QStringLiteral("/temp")).entryList({QStringLiteral("voltaire-en-marche-*")}, QDir::Files);
    }
};
/// A charge of the whole program on a board of its own.
struct Charging
{
    void Begin()
    {
        QVERIFY(board.Start());
        program.Start(kinds.at("charge"), board.Port());
        QTRY_VERIFY_WITH_TIMEOUT(board.SentSoFar().contains(chargeOn), 30000);
    }
    void KillAndSeeItSwitchedOff()
    {
        program.Signal(SIGKILL);
        QVERIFY(program.WaitForEnd());
        QVERIFY(WaitForPort(board.Port())); // the guard has done
        QVERIFY(board.Sent().endsWith(guardWrites + guardWrites));
    }

    QTemporaryDir folder;
    Board board;
    Guarded program{folder};
};
} // namespace

/// The guard's process: the whole program dies or stands still in a run, and the board is switched off all the same.
class TestGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void TheDeathOfTheProgramSwitchesOff_data()
    {
        QTest::addColumn<QByteArray>("kind");
        QTest::addColumn<int>("signal");
        for (const auto &[name, kind] : kinds) {
            QTest::addRow("%s, killed", name.constData()) << name << SIGKILL;
            QTest::addRow("%s, aborted", name.constData()) << name << SIGABRT;
        }
    }
    void TheDeathOfTheProgramSwitchesOff()
    {
        QFETCH(QByteArray, kind);
        QFETCH(int, signal);
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Guarded program(folder);
        program.Start(kinds.at(kind), board.Port());
        QTRY_VERIFY_WITH_TIMEOUT(board.SentSoFar().contains(kinds.at(kind).on), 30000);
        program.Signal(signal);
        QVERIFY(program.WaitForEnd());
        QVERIFY(WaitForPort(board.Port())); // the guard has done
        const QByteArray off = kinds.at(kind).off;
        const QByteArray sent = board.Sent();
        QVERIFY2(sent.endsWith(off + off), sent.right(40).toHex(' ').constData());
        QVERIFY2(program.Notes().endsWith(
                     QByteArray("  Coupé par la surveillance de secours : le programme s'est terminé sans arrêter ce "
                                "qu'il avait mis en marche\n")),
                 program.Notes().constData());
    }

    void AFrozenProgramIsSwitchedOffAndGoesNoFurther()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Guarded program(folder);
        program.Start(kinds.at("charge"), board.Port());
        QVERIFY(program.WaitForProgress(3));
        program.Signal(SIGSTOP);
        QTRY_VERIFY_WITH_TIMEOUT(board.SentSoFar().endsWith(guardWrites + guardWrites), 30000);
        const QByteArray told("le programme n'a pas réagi pendant dix secondes\n");
        QTRY_VERIFY(program.Notes().endsWith(told));
        const qsizetype before = board.SentSoFar().size();
        program.Signal(SIGCONT);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 3);
        const QByteArray after = board.Sent().mid(before);
        for (const char *on : {"\x1b\x0f\x01", "\x1b\x10\x01", "\x1b\x11\x01"})
            QVERIFY2(!after.contains(on), after.toHex(' ').constData());
        QVERIFY(program.Notes().endsWith("  Arret : " + told)); // the program has noticed
    }

    void AnEndThatTheProgramHasSeenToIsLeftAlone_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("by its rule") << 0;
        QTest::newRow("by a signal") << SIGTERM;
    }
    void AnEndThatTheProgramHasSeenToIsLeftAlone()
    {
        QFETCH(int, signal);
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start({QStringLiteral("--soc"), signal == 0 ? QStringLiteral("97") : QStringLiteral("50")}));
        Guarded program(folder);
        program.Start(kinds.at("charge"), board.Port());
        QVERIFY(program.WaitForProgress(3));
        QCOMPARE(program.Marks().size(), 1);
        if (signal != 0)
            program.Signal(signal);
        QVERIFY(program.WaitForEnd());
        QVERIFY(WaitForPort(board.Port()));
        QVERIFY(!board.Sent().contains(guardWrites));
        QCOMPARE(program.Notes().contains("surveillance"), false);
        QCOMPARE(program.Marks(), QStringList());
    }

    void ABoardThatIsPluggedInAgainIsSwitchedOffToo()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Guarded program(folder);
        program.Start(kinds.at("charge"), board.Port());
        QVERIFY(program.WaitForProgress(3));
        board.Kill();
        QByteArray said;
        const auto lossIsSaid = [&] { return (said += program.process.readAllStandardError()).contains("est coup"); };
        QTRY_VERIFY_WITH_TIMEOUT(lossIsSaid(), 30000);
        program.process.readAllStandardOutput();
        QVERIFY(board.Start({QStringLiteral("--soc"), QStringLiteral("50")}));
        QVERIFY(program.WaitForProgress(3));
        program.Signal(SIGKILL);
        QVERIFY(program.WaitForEnd());
        QVERIFY(WaitForPort(board.Port()));
        QVERIFY(board.Sent().endsWith(guardWrites + guardWrites));
    }

    void AGuardThatIsKilledIsStartedAgain()
    {
        Charging charging;
        charging.Begin();
        const pid_t first = charging.program.Guard();
        kill(first, SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(charging.program.Guard() != 0 && charging.program.Guard() != first, 30000);
        // A process that is there has no orders yet: they are out when the program has gone on to its next exchanges.
        constexpr qsizetype exchanges = 20; // bytes of several
        const qsizetype heard = charging.board.SentSoFar().size();
        QTRY_VERIFY_WITH_TIMEOUT(charging.board.SentSoFar().size() > heard + exchanges, 30000);
        charging.KillAndSeeItSwitchedOff();
    }

    void ASignalToTheWholeFamilyDoesNotEndTheGuard()
    {
        Charging charging;
        charging.Begin();
        const pid_t guard = charging.program.Guard();
        QVERIFY(guard > 0);
        for (const int signal : {SIGHUP, SIGINT, SIGTERM})
            kill(guard, signal);
        charging.KillAndSeeItSwitchedOff();
    }

    // ---- sleep of the computer

    void AComputerThatGoesToSleepWaitsUntilTheChargeIsOff()
    {
        LoginManager manager;
        QVERIFY(manager.Start());
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Guarded program(folder);
        QProcessEnvironment environment = program.process.processEnvironment();
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), manager.Address());
        program.process.setProcessEnvironment(environment);
        program.Start(kinds.at("charge"), board.Port());
        QVERIFY(program.WaitForProgress(2));
        QTRY_COMPARE(manager.inhibitors.size(), size_t(2));
        QVERIFY(manager.inhibitors[1].IsHeld());
        Q_EMIT manager.PrepareForSleep(true);
        QTRY_VERIFY_WITH_TIMEOUT(!manager.inhibitors[1].IsHeld(), 30000);
        QTRY_COMPARE_WITH_TIMEOUT(program.process.state(), QProcess::NotRunning, 30000);
        QCOMPARE(program.process.exitCode(), 3);
        QVERIFY(program.process.readAllStandardError().contains("Arret : mise en veille"));
        QVERIFY(program.Notes().endsWith("  Arret : mise en veille\n"));
        QVERIFY(WithoutAssurance(board.Sent()).endsWith(stopWrites));
    }

    void TheNextStartTells()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        {
            Guarded program(folder);
            program.Start(kinds.at("charge"), board.Port());
            QTRY_VERIFY_WITH_TIMEOUT(board.SentSoFar().contains(chargeOn), 30000);
            program.Signal(SIGKILL);
            QVERIFY(program.WaitForEnd());
            QVERIFY(WaitForPort(board.Port()));
            QCOMPARE(program.Marks().size(), 1);
        }
        Guarded next(folder);
        next.Start(kinds.at("charge"), board.Port());
        QVERIFY(next.WaitForProgress(1));
        const QByteArray said = next.process.readAllStandardError();
        QVERIFY2(said.contains("s'est terminé sans arrêter") && said.contains("Coupé par la surveillance de secours"),
                 said.constData());
        QVERIFY(board.SentSoFar().contains(readLines)); // it finds out what is on
        QCOMPARE(next.Marks().size(), 1);
    }
};

REGISTER_TEST(TestGuard)
#include "tst_guard.moc"
