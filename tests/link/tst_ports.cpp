// SPDX-License-Identifier: GPL-3.0-or-later
#include "link/folderwatch.h"
#include "link/ports.h"
#include "link/systemport.h"
#include "support/boardprocess.h"
#include "support/ptyboard.h"
#include "support/rununtil.h"
#include "support/suite.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

/// What there is to be connected to, and who has it.
class TestPorts : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir folder_;

private Q_SLOTS:
    void init() { ports::SetFolder(folder_.path()); }
    void cleanup() { ports::SetFolder(QStringLiteral("/dev")); }

    void NamesAreInTheFolderOfTheDevices()
    {
        QCOMPARE(ports::PathOf(QStringLiteral("ttyA")), folder_.filePath(QStringLiteral("ttyA")));
        QCOMPARE(ports::PathOf(QStringLiteral("/tmp/ttyA")), QStringLiteral("/tmp/ttyA"));
    }

    void PseudoTerminalsAreListedByName()
    {
        QVERIFY(ports::List().empty());
        const PtyBoard first, second;
        for (const auto &[name, target] : {std::pair(QStringLiteral("ttyB"), first.Port()),
                                           {QStringLiteral("ttyA"), second.Port()},
                                           {QStringLiteral("null"), QStringLiteral("/dev/null")},
                                           {QStringLiteral("nowhere"), QStringLiteral("/nowhere")}})
            QVERIFY(QFile::link(target, folder_.filePath(name)));
        QVERIFY(QFile(folder_.filePath(QStringLiteral("letter"))).open(QIODevice::WriteOnly));
        const auto found = ports::List();
        QCOMPARE(found.size(), 2u);
        QCOMPARE(found[0].Text(), QStringLiteral("ttyA – pseudo-terminal"));
        QCOMPARE(found[1].name, QStringLiteral("ttyB"));
        SystemPort port;
        port.Open(found[0].name, {}); // by its name
        QVERIFY(port.IsOpen());
    }

    void APortIsDescribedInALine()
    {
        QCOMPARE((ports::Found{QStringLiteral("ttyUSB0"), QStringLiteral("FT232R"), QStringLiteral("A1"), {}}.Text()),
                 QStringLiteral("ttyUSB0 – FT232R – n° A1"));
        QCOMPARE((ports::Found{QStringLiteral("ttyS0"), {}, {}, {}}.Text()), QStringLiteral("ttyS0"));
    }

    void WhoHasAPortIsNamed()
    {
        const PtyBoard board;
        const QString path = board.Port();
        QCOMPARE(ports::HoldersOf(path), QString()); // this program does not count
        int ready[2];
        QVERIFY(pipe2(ready, O_CLOEXEC) == 0);
        const pid_t child = fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            const LineSettings settings;
            SystemPort port;
            port.Open(path, settings);
            if (write(ready[1], "x", 1) == 1)
                pause();
            _exit(1);
        }
        char byte = 0;
        close(ready[1]);
        const bool held = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        const QString holders = ports::HoldersOf(path);
        QString wayOut;
        try {
            SystemPort().Open(path, {});
        } catch (const PortError &error) {
            wayOut = error.WayOut();
        }
        kill(child, SIGKILL);
        QCOMPARE(waitpid(child, nullptr, 0), child);
        QVERIFY(held);
        QVERIFY2(holders.contains(QStringLiteral("tests_link (processus %1)").arg(child)), qPrintable(holders));
        QVERIFY2(wayOut.contains(holders) && wayOut.endsWith(QStringLiteral("« Reconnection ».")), qPrintable(wayOut));
    }

    void APortThatIsMissingHasAWayOut()
    {
        try {
            SystemPort().Open(QStringLiteral("ttyMissing"), {});
            QFAIL("nothing thrown");
        } catch (const PortError &error) {
            QVERIFY2(error.WayOut().contains(QStringLiteral("menu « Port »")), qPrintable(error.WayOut()));
        }
    }

    void AFolderTellsOfWhatComesAndGoes()
    {
        FolderWatch watch;
        QSignalSpy changed(&watch, &FolderWatch::Changed);
        watch.Watch(folder_.path());
        const QString path = folder_.filePath(QStringLiteral("ttyNew"));
        QVERIFY(QFile::link(QStringLiteral("/dev/null"), path));
        QVERIFY(RunUntil([&] { return changed.size() == 1; }));
        QFile::remove(path);
        QVERIFY(RunUntil([&] { return changed.size() == 2; }));
        watch.Stop();
        QTemporaryDir other;
        watch.Watch(other.path());
        QVERIFY(QFile::link(QStringLiteral("/dev/null"), path));
        QVERIFY(QFile::link(QStringLiteral("/dev/null"), other.filePath(QStringLiteral("ttyOther"))));
        QVERIFY(RunUntil([&] { return changed.size() >= 3; }));
        QCOMPARE(changed.size(), 3);
    }
};

REGISTER_TEST(TestPorts)
#include "tst_ports.moc"
