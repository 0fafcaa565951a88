// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "logbook/logbook.h"
#include "program.h"
#include "support/suite.h"

#include <QtTest>

namespace {
/// What is in the logbook of a program that is over.
std::vector<RunEntry> RunsOf(const Program &program)
{
    drive::SetRoot(program.drive);
    return Logbook().Runs({});
}
} // namespace

/// The logbook of the whole program.
class TestProgramLogbook : public QObject
{
    Q_OBJECT

private:
    static int Import(Program &program, const QStringList &logs, QString &said)
    {
        program.Start(QStringList{QStringLiteral("--import")} + logs);
        if (!program.WaitForEnd())
            return -1;
        said = QString::fromUtf8(program.process.readAllStandardOutput());
        return program.process.exitCode();
    }

private Q_SLOTS:
    void cleanup() { drive::SetRoot(QString()); }

    void AnUnattendedRunEntersItself()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port(), QStringLiteral("--max-mah"),
                                                  QStringLiteral("20"), QStringLiteral("--pack"),
                                                  QStringLiteral("Gros accu")});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 3);
        const std::vector<RunEntry> runs = RunsOf(program);
        QCOMPARE(runs.size(), size_t(1));
        QCOMPARE(runs[0].end, RunEntry::End::Cause);
        QVERIFY(runs[0].why.endsWith(QStringLiteral("mAh (limite 20 mAh)")));
        QCOMPARE(runs[0].pack, QStringLiteral("Gros accu"));
        QCOMPARE(runs[0].log, OnlyLog(folder.path()));
        QVERIFY(runs[0].figures.milliampereHoursIn >= 20);
    }

    void AKilledRunIsClosedFromItsLogAtTheNextStart()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForProgress(5));
        program.Signal(SIGKILL);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(RunsOf(program).at(0).end, RunEntry::End::On);
        QVERIFY(WaitForPort(board.Port()));

        Program next(folder);
        next.Start({QStringLiteral("--port"), board.Port(), QStringLiteral("--time-scale"), QStringLiteral("200"),
                    QStringLiteral("--run"), QStringLiteral("charge"), QStringLiteral("--max-mah"),
                    QStringLiteral("1")});
        QVERIFY(next.WaitForEnd());
        const std::vector<RunEntry> runs = RunsOf(program);
        QCOMPARE(runs.size(), size_t(2));
        const auto cut = std::ranges::find(runs, RunEntry::End::Cut, &RunEntry::end);
        QVERIFY(cut != runs.end());
        QVERIFY(cut->figures.seconds > 0);
        QVERIFY(cut->figures.highestVolts);
    }

    void OldLogsAreEnteredWithoutBoardAndDisplay()
    {
        QTemporaryDir folder;
        const QString log = folder.filePath(QStringLiteral("S_DCH_D05_06_24T07_08.txt"));
        QFile file(log);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(
            "DUREE:VALIMCAD:VDBLCAD:TEMPCAD:VALIM:VDBL:TEMPER:IDCHRGCAD:VDELTACAD:ICHRG:VBAT:CAPACITE:TEMPS\r\n\r\n"
            " 3600 : 1 : 2 : 3 : 13,5 : 20 : 25 : 4 : 5 : 2,5 : 7,25 : 2500 : 0,04 \r\n");
        file.close();
        Program program(folder);
        QProcessEnvironment environment = program.process.processEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("none"));
        program.process.setProcessEnvironment(environment);
        QString said;
        QCOMPARE(Import(program, {log}, said), 0);
        QCOMPARE(said,
                 log + QStringLiteral(" : inscrit (décharge du 06/05/2024 07:08, 1 h 00, 2500 mAh, fin inconnue)\n"));
        QCOMPARE(Import(program, {log, log}, said), 0);
        QCOMPARE(said.count(QStringLiteral("déjà dans le carnet")), 2);
        QCOMPARE(Import(program, {log, QStringLiteral("nowhere")}, said), 1);
        QVERIFY(QString::fromUtf8(program.process.readAllStandardError())
                    .startsWith(QStringLiteral("voltaire : Erreur de fichier : nowhere")));
        QCOMPARE(RunsOf(program).size(), size_t(1));
    }
};

REGISTER_TEST(TestProgramLogbook)
#include "tst_program_logbook.moc"
