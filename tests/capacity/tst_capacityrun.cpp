// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/boardprocess.h"
#include "support/suite.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>
#include <csignal>

namespace {
constexpr int patience = 30000;
const QString timeScale = QStringLiteral("200"); // the pauses of a measurement take a second

/// A virtual board with a supply in the place of a pack, and the program on it. How long its phases last and what is
/// measured in them is tested in simulated time: here that depends on how fast this machine is at the moment.
class Bench
{
public:
    Bench()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        program.setProcessEnvironment(environment);
        program.setWorkingDirectory(folder.path());
    }
    ~Bench()
    {
        program.kill();
        program.waitForFinished();
    }

    bool Start(const QString &run)
    {
        if (!board_.Start({QStringLiteral("--trace"), board_.Path("trace"), QStringLiteral("--time-scale"), timeScale}))
            return false;
        board_.Tell("volts 5.6");
        program.start(QStringLiteral(VOLTAIRE),
                      QStringList{QStringLiteral("--port"), board_.Port(), QStringLiteral("--time-scale"), timeScale,
                                  QStringLiteral("--drive-c"), Path("c"), QStringLiteral("--run"),
                                  QStringLiteral("capacity")} +
                          run.split(u' '));
        return program.waitForStarted(patience);
    }

    /// Reads what the program prints up to a line that begins so.
    bool WaitForLine(const QString &beginning)
    {
        for (;;) {
            while (program.canReadLine()) {
                lines.append(QString::fromUtf8(program.readLine()).chopped(1));
                if (lines.last().startsWith(beginning))
                    return true;
            }
            if (!program.waitForReadyRead(patience))
                return false;
        }
    }

    /// Waits until something was measured in a charge or a discharge, then changes the voltage.
    bool ChangeVoltsIn(const QString &phase, const QByteArray &volts)
    {
        if (!WaitForLine(phase) || !WaitForLine(QStringLiteral("00:00:02 ")))
            return false;
        board_.Tell("volts " + volts);
        return true;
    }

    QString Path(const char *name) const { return folder.filePath(QString::fromLatin1(name)); }
    QString Trace() const
    {
        QFile file(board_.Path("trace"));
        return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
    }

    /// The lines 15 to 18 as they were written last.
    QString Outputs() const
    {
        QStringList levels;
        for (const int line : {15, 16, 17, 18}) {
            const QString write = QStringLiteral(" in 27 %1 ").arg(line);
            const QString trace = Trace();
            levels.append(trace.mid(trace.lastIndexOf(write) + write.size(), 1));
        }
        return levels.join(u' ');
    }

    QTemporaryDir folder;
    QProcess program;
    QStringList lines;

private:
    BoardProcess board_;
};
} // namespace

/// "--run capacity", from the command line to the exit status, on the virtual board.
class TestCapacityRun : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void WholeCycle()
    {
        Bench bench;
        QVERIFY(bench.Start(QStringLiteral("--cells 4 --charge 0.6 --discharge 0.6")));
        QVERIFY(bench.ChangeVoltsIn(QStringLiteral("Charge"), "5.4"));   // V Delta falls
        QVERIFY(bench.ChangeVoltsIn(QStringLiteral("Decharge"), "3.4")); // below 0.9 V per cell
        QVERIFY(bench.ChangeVoltsIn(QStringLiteral("Charge"), "3.2"));
        QVERIFY(bench.WaitForLine(QStringLiteral("Capacité déchargée : ")));
        QVERIFY(bench.program.waitForFinished(patience));
        QCOMPARE(bench.program.exitCode(), 0);
        QCOMPARE(bench.Outputs(), QStringLiteral("0 0 0 1"));

        // The phases, each said once as it begins.
        QStringList phases;
        for (const QString &line : bench.lines)
            if (!line.contains(QLatin1String("mAh")) && !line.startsWith(QLatin1String("Courant")))
                phases.append(line);
        QVERIFY(phases.removeAll(QStringLiteral("Mesure Resistance")) >= 1);
        phases.removeDuplicates();
        const QStringList order = {QStringLiteral("Preparation Ch/Decharge"),
                                   QStringLiteral("Reglage Delta"),
                                   QStringLiteral("Charge"),
                                   QStringLiteral("Pause"),
                                   QStringLiteral("120Pause ..."),
                                   QStringLiteral("Decharge"),
                                   QStringLiteral("Fin du Processus")};
        QCOMPARE(phases, order);

        static const QRegularExpression summary(
            QStringLiteral("^Capacité déchargée : (\\d+) mAh, résistance (-?\\d+) mR, résultats (.*)$"));
        const QRegularExpressionMatch match = summary.match(bench.lines.last());
        QVERIFY2(match.hasMatch(), qPrintable(bench.lines.last()));

        QFile result(match.captured(3));
        QVERIFY(result.open(QIODevice::ReadOnly));
        const QList<QByteArray> content = result.readAll().split('\n');
        QVERIFY(content[0].startsWith("DUREE:TEMPER:"));
        QVERIFY(content[content.size() - 2].startsWith("=========:"));
        QCOMPARE(std::ranges::count_if(content, [](const QByteArray &line) { return line.startsWith("*********:"); }),
                 1);
    }

    void InterruptPressesStop()
    {
        Bench bench;
        QVERIFY(bench.Start(QStringLiteral("--cells 4 --charge 1 --discharge 1")));
        QVERIFY(bench.WaitForLine(QStringLiteral("00:00:20 ")));
        kill(static_cast<pid_t>(bench.program.processId()), SIGINT);
        QVERIFY(bench.program.waitForFinished(patience));
        QCOMPARE(bench.program.exitCode(), 130);
        QVERIFY(bench.program.exitStatus() == QProcess::NormalExit);
        QCOMPARE(bench.Outputs(), QStringLiteral("0 0 0 1"));
        QVERIFY(bench.Trace().contains(QLatin1String("in 27 24 10")));
    }

    void ErrorEndsWithStatusOne()
    {
        Bench bench;
        QVERIFY(QDir().mkpath(bench.Path("c")));
        QFile obstacle(bench.Path("c/log")); // where the folder of the result file should be
        QVERIFY(obstacle.open(QIODevice::WriteOnly));
        QVERIFY(bench.Start(QStringLiteral("--cells 4 --charge 0.6 --discharge 0.6")));
        QVERIFY(bench.ChangeVoltsIn(QStringLiteral("Charge"), "5.4"));
        QVERIFY(bench.WaitForLine(QStringLiteral("120Pause ...")));
        QVERIFY(bench.program.waitForFinished(patience));
        QCOMPARE(bench.program.exitCode(), 1);
        QVERIFY(QString::fromUtf8(bench.program.readAllStandardError()).contains(QLatin1String("Erreur de fichier")));
        QCOMPARE(bench.Outputs(), QStringLiteral("0 0 0 1"));
    }
};

REGISTER_TEST(TestCapacityRun)
#include "tst_capacityrun.moc"
