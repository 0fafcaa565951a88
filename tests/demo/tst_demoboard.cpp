// SPDX-License-Identifier: GPL-3.0-or-later
#include "demo/demoboard.h"
#include "simulation/simulatedclock.h"
#include "support/rununtil.h"
#include "support/script.h"
#include "support/suite.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {
/// A script that stands in for the virtual board, and what is told of it.
struct StandIn
{
    explicit StandIn(const QByteArray &lines)
    {
        QVERIFY(WriteScript(folder.filePath(QStringLiteral("virtual-board")), lines));
    }

    SimulatedClock clock;
    QTemporaryDir folder;
    DemoBoard board{folder.filePath(QStringLiteral("virtual-board"))};
    QSignalSpy ready{&board, &DemoBoard::Ready};
    QSignalSpy failed{&board, &DemoBoard::Failed};
};
} // namespace

class TestDemoBoard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void OneThatIsMissingIsSaid()
    {
        const SimulatedClock clock;
        DemoBoard board(QStringLiteral("/nowhere/virtual-board"));
        QSignalSpy failed(&board, &DemoBoard::Failed);
        board.Start(1);
        QVERIFY(RunUntil([&] { return !failed.isEmpty(); }));
        QVERIFY(failed[0][0].toString().startsWith(QStringLiteral("La carte virtuelle ne démarre pas : ")));
    }

    void OneThatEndsAtOnceIsSaid_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QString>("reason");
        const QString starts = QStringLiteral("La carte virtuelle ne démarre pas : ");
        const QString runs = QStringLiteral("La carte virtuelle ne marche plus : ");
        QTest::newRow("well") << QByteArray("exit 0") << starts + QStringLiteral("elle s'est terminée avec le code 0");
        QTest::newRow("with an error") << QByteArray("exit 1")
                                       << starts + QStringLiteral("elle s'est terminée avec le code 1");
        QTest::newRow("killed") << QByteArray("kill -KILL $$") << starts + QStringLiteral("elle a été interrompue");
        QTest::newRow("after its port") << QByteArray("echo port /dev/pts/999")
                                        << runs + QStringLiteral("elle s'est terminée avec le code 0");
    }
    void OneThatEndsAtOnceIsSaid()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QString, reason);
        StandIn standIn(lines);
        standIn.board.Start(1);
        QVERIFY(RunUntil([&] { return !standIn.failed.isEmpty(); }));
        QCOMPARE(standIn.failed[0][0].toString(), reason);
        Simulated().Run(1min);
        QCOMPARE(standIn.failed.size(), 1);
    }

    void OneThatNamesNoPortIsSaid()
    {
        StandIn standIn("echo no port; exec cat >/dev/null");
        standIn.board.Start(1);
        Simulated().Run(9900ms);
        QCOMPARE(standIn.failed.size(), 0);
        Simulated().Run(200ms);
        QCOMPARE(standIn.failed.size(), 1);
        QCOMPARE(standIn.failed[0][0].toString(),
                 QStringLiteral("La carte virtuelle ne démarre pas : elle ne dit pas à quel port elle est"));
    }

    void ThePortIsFoundAmongOtherLines()
    {
        StandIn standIn("echo hello; echo port /dev/pts/999; echo port of call; exec cat >/dev/null");
        standIn.board.Start(1);
        QVERIFY(RunUntil([&] { return !standIn.ready.isEmpty(); }));
        Simulated().Run(1min);
        QCOMPARE(standIn.ready.size(), 1);
        QCOMPARE(standIn.ready[0][0].toString(), QStringLiteral("/dev/pts/999"));
        QCOMPARE(standIn.failed.size(), 0);
    }
};

REGISTER_TEST(TestDemoBoard)
#include "tst_demoboard.moc"
