#include "support/boardprocess.h"
#include "support/suite.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {
/// The program as its users start it, in a folder of its own.
class Program
{
public:
    explicit Program(const QTemporaryDir &folder)
    {
        process.setWorkingDirectory(folder.path());
        drive_ = folder.filePath(QStringLiteral("c"));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), folder.path()); // or the library complains
        process.setProcessEnvironment(environment);
    }
    ~Program()
    {
        process.kill();
        process.waitForFinished();
    }

    void Start(const QStringList &arguments)
    {
        process.start(QStringLiteral(VOLTAIRE), arguments + QStringList{QStringLiteral("--drive-c"), drive_});
    }
    void Signal(int number) { kill(static_cast<pid_t>(process.processId()), number); }
    bool WaitForEnd(int milliseconds = 60000) { return process.waitForFinished(milliseconds); }

    /// Waits until so many lines of progress were printed from now on.
    bool WaitForProgress(int lines)
    {
        static const QRegularExpression progress(QStringLiteral(R"(^\d\d:\d\d:\d\d .* V .* A .* mAh  delta )"));
        while (lines > 0) {
            if (!process.canReadLine() && !process.waitForReadyRead(30000))
                return false;
            while (process.canReadLine())
                if (progress.match(QString::fromUtf8(process.readLine())).hasMatch())
                    --lines;
        }
        return true;
    }

    QProcess process;

private:
    QString drive_;
};

/// A virtual board that keeps a trace.
class Board : public BoardProcess
{
public:
    bool Start(const QStringList &more = {})
    {
        return BoardProcess::Start(QStringList{QStringLiteral("--trace"), Path("trace"), QStringLiteral("--time-scale"),
                                               QStringLiteral("200")} +
                                   more);
    }
    /// Ends it, so that its trace is complete, and gives the bytes that the program has sent.
    QByteArray Sent()
    {
        Stop();
        return SentSoFar();
    }
    QByteArray SentSoFar() const
    {
        QFile file(Path("trace"));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QByteArray sent;
        static const QRegularExpression line(QStringLiteral(R"(^\S+ +in +(.*)$)"));
        while (!file.atEnd()) {
            const auto match = line.match(QString::fromLatin1(file.readLine().trimmed()));
            if (match.hasMatch())
                for (const QString &byte : match.captured(1).split(u' ', Qt::SkipEmptyParts))
                    sent.append(static_cast<char>(byte.toInt()));
        }
        return sent;
    }

    /// With these it falls silent in the middle of a charge.
    static QStringList FallsSilent()
    {
        return {QStringLiteral("--fault"), QStringLiteral("silence:at=%1").arg(heardCommands)};
    }
    /// Whether the program has asked for something that the board does not hear any more.
    bool IsSilent() const { return SentSoFar().count(char(27)) > heardCommands; }

private:
    static constexpr int heardCommands = 150;
};

const QByteArray endWrites("\x1b\x11\x00\x1b\x0f\x00", 6);
const QByteArray stopWrites("\x1b\x0f\x00\x1b\x11\x00\x1b\x12\x01", 9);
const QStringList chargeOptions = {QStringLiteral("--run"), QStringLiteral("charge"), QStringLiteral("--time-scale"),
                                   QStringLiteral("200")};

QString OnlyLog(const QTemporaryDir &folder)
{
    const QStringList logs = QDir(folder.path()).entryList({QStringLiteral("St_CH_D*.txt")}, QDir::Files);
    return logs.isEmpty() ? QString() : folder.filePath(logs.last());
}

QByteArrayList RecordsOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArrayList lines = file.readAll().split('\n');
    return lines.mid(2);
}
} // namespace

class TestProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void HelpIsFrench()
    {
        QTemporaryDir folder;
        Program program(folder);
        program.Start({QStringLiteral("--help")});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 0);
        const QString help = QString::fromUtf8(program.process.readAllStandardOutput());
        for (const char *option : {"Usage :", "--port", "--demo", "--time-scale", "--drive-c", "--run", "--current",
                                   "--mode", "--every", "--max-temperature", "--max-minutes", "--max-mah"})
            QVERIFY2(help.contains(QLatin1String(option)), option);
    }

    void WrongOptionsAreRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("unknown") << QStringList{QStringLiteral("--nonsense")};
        QTest::newRow("positional") << QStringList{QStringLiteral("charge")};
        QTest::newRow("no value") << QStringList{QStringLiteral("--port")};
        QTest::newRow("time scale 0") << QStringList{QStringLiteral("--time-scale"), QStringLiteral("0")};
        QTest::newRow("time scale word") << QStringList{QStringLiteral("--time-scale"), QStringLiteral("vite")};
        QTest::newRow("other run") << QStringList{QStringLiteral("--run"), QStringLiteral("cuire")};
        QTest::newRow("current without run") << QStringList{QStringLiteral("--current"), QStringLiteral("1")};
        QTest::newRow("negative current")
            << chargeOptions + QStringList{QStringLiteral("--current"), QStringLiteral("-1")};
        for (const char *limit : {"--max-temperature 19", "--max-temperature 101", "--max-temperature chaud",
                                  "--max-minutes 0", "--max-minutes 1.5", "--max-mah 1e9", "--max-mah -1"})
            QTest::newRow(limit) << chargeOptions + QString::fromLatin1(limit).split(u' ');
        QTest::newRow("limit without run") << QStringList{QStringLiteral("--max-mah"), QStringLiteral("100")};
        QTest::newRow("demo and port") << QStringList{QStringLiteral("--demo"), QStringLiteral("--port"),
                                                      QStringLiteral("ttyS0")};
    }
    void WrongOptionsAreRefused()
    {
        QFETCH(QStringList, arguments);
        QTemporaryDir folder;
        Program program(folder);
        program.process.start(QStringLiteral(VOLTAIRE), arguments);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 2);
        QVERIFY(program.process.readAllStandardError().startsWith("voltaire : "));
    }

    void ADemonstrationCharges()
    {
        QTemporaryDir folder;
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--demo")});
        QVERIFY(program.WaitForProgress(3));
        QVERIFY(QDir(folder.filePath(QStringLiteral("c/temp"))).exists());
        program.Signal(SIGINT);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 130);
    }

    void AChargeGoesToItsEnd()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start({QStringLiteral("--soc"), QStringLiteral("95")})); // 100 mAh are missing
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port(), QStringLiteral("--mode"),
                                                  QStringLiteral("1"), QStringLiteral("--current"),
                                                  QStringLiteral("2")});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process.exitCode(), 0);
        const QStringList output = QString::fromUtf8(program.process.readAllStandardOutput()).trimmed().split(u'\n');
        static const QRegularExpression last(QStringLiteral(R"(^Charge Terminée : (\d+) mAh, journal (/.*)$)"));
        const auto match = last.match(output.last());
        QVERIFY2(match.hasMatch(), qPrintable(output.last()));
        QCOMPARE(match.captured(2), OnlyLog(folder));
        const int charged = match.captured(1).toInt();
        QVERIFY2(charged > 50 && charged < 500, qPrintable(match.captured(1)));
        // One line a record, one for the current and the last one.
        QCOMPARE(RecordsOf(OnlyLog(folder)).size() - 1, output.size() - 2);
        QVERIFY(board.Sent().endsWith(endWrites));
    }

    void EveryThinsTheProgressOut()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port(), QStringLiteral("--every"),
                                                  QStringLiteral("5")});
        QVERIFY(program.WaitForProgress(3));
        QVERIFY(RecordsOf(OnlyLog(folder)).size() - 1 >= 11);
    }

    void ARefusedLimitNamesItsRange()
    {
        QTemporaryDir folder;
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--max-temperature"), QStringLiteral("150")});
        QVERIFY(program.WaitForEnd());
        const QString said = QString::fromUtf8(program.process.readAllStandardError());
        QVERIFY2(said.startsWith(QStringLiteral(
                     "voltaire : valeur incorrecte pour --max-temperature : 150 (un nombre entier de 20 à 100)")),
                 qPrintable(said));
    }

    void ALimitEndsTheRun_data()
    {
        QTest::addColumn<QStringList>("run");
        QTest::addColumn<QByteArray>("cause");
        const QStringList discharge = {QStringLiteral("--run"), QStringLiteral("discharge"), QStringLiteral("--cells"),
                                       QStringLiteral("4"),     QStringLiteral("--current"), QStringLiteral("1")};
        const QStringList capacity = {
            QStringLiteral("--run"),    QStringLiteral("capacity"), QStringLiteral("--cells"),     QStringLiteral("4"),
            QStringLiteral("--charge"), QStringLiteral("1"),        QStringLiteral("--discharge"), QStringLiteral("1")};
        const QStringList charge = {QStringLiteral("--run"), QStringLiteral("charge"), QStringLiteral("--current"),
                                    QStringLiteral("2")};
        const auto with = [](const QStringList &run, const char *option, const char *value) {
            return run + QStringList{QLatin1String(option), QLatin1String(value)};
        };
        QTest::newRow("charge, minutes") << with(charge, "--max-minutes", "5") << QByteArray("min (limite 5 min)");
        QTest::newRow("charge, mAh") << with(charge, "--max-mah", "50") << QByteArray("mAh (limite 50 mAh)");
        QTest::newRow("charge, temperature") << with(charge, "--max-temperature", "20") << QByteArray("(limite 20 °C)");
        QTest::newRow("discharge, minutes")
            << with(discharge, "--max-minutes", "5") << QByteArray("min (limite 5 min)");
        QTest::newRow("capacity, mAh") << with(capacity, "--max-mah", "10") << QByteArray("mAh (limite 10 mAh)");
    }
    void ALimitEndsTheRun()
    {
        QFETCH(QStringList, run);
        QFETCH(QByteArray, cause);
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start({QStringLiteral("--soc"), QStringLiteral("50")}));
        Program program(folder);
        program.Start(run + QStringList{QStringLiteral("--time-scale"), QStringLiteral("200"), QStringLiteral("--port"),
                                        board.Port()});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process.exitCode(), 3);
        const QByteArray said = program.process.readAllStandardError();
        const qsizetype at = said.indexOf("Arret : "); // the library may have words of its own
        const QByteArray line = said.mid(at, said.indexOf('\n', at) - at);
        QVERIFY2(said.count("Arret : ") == 1 && line.endsWith(cause), said.constData());
        const QByteArray sent = board.Sent();
        QVERIFY(sent.endsWith(QByteArray("\x1b\x12\x01", 3)) || sent.endsWith(QByteArray("\x1b\x18\x0a", 3)));
    }

    void ASignalStopsTheCharge_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("Ctrl-C") << SIGINT;
        QTest::newRow("kill") << SIGTERM;
        QTest::newRow("lost terminal") << SIGHUP;
    }
    void ASignalStopsTheCharge()
    {
        QFETCH(int, signal);
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForProgress(3));
        program.Signal(signal);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process.exitCode(), 128 + signal);
        QVERIFY(board.Sent().endsWith(stopWrites));
    }

    void ASecondInterruptDoesNotCutTheStopShort()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start(Board::FallsSilent()));
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QTRY_VERIFY_WITH_TIMEOUT(board.IsSilent(), 30000);
        // Both at once, in whichever order the system hands them out.
        program.Signal(SIGSTOP);
        program.Signal(SIGINT);
        program.Signal(SIGTERM);
        program.Signal(SIGCONT);
        QVERIFY(program.WaitForEnd());
        QVERIFY(program.process.exitCode() == 128 + SIGTERM || program.process.exitCode() == 128 + SIGINT);
        QVERIFY(board.Sent().endsWith(stopWrites));
    }

    void AReaderThatGoesAwayDoesNotEndTheCharge()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForProgress(3));
        program.process.closeReadChannel(QProcess::StandardOutput);
        const auto records = RecordsOf(OnlyLog(folder)).size();
        QTRY_VERIFY_WITH_TIMEOUT(RecordsOf(OnlyLog(folder)).size() > records + 10, 30000);
        program.Signal(SIGINT);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 130);
        QVERIFY(board.Sent().endsWith(stopWrites));
    }

    void AnInterruptWithASilentBoardStillSendsTheStop()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start(Board::FallsSilent()));
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QTRY_VERIFY_WITH_TIMEOUT(board.IsSilent(), 30000);
        program.Signal(SIGINT);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 130);
        QVERIFY(board.Sent().endsWith(stopWrites));
    }

    void AKilledProgramKeepsEveryFinishedRecord()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForProgress(20));
        program.Signal(SIGKILL);
        QVERIFY(program.WaitForEnd());
        const QByteArrayList records = RecordsOf(OnlyLog(folder));
        QVERIFY(records.size() - 1 >= 20);
        for (qsizetype i = 0; i < records.size() - 1; ++i) {
            QCOMPARE(records[i].count(':'), 15);
            QVERIFY(records[i].endsWith(" \r"));
        }
        QVERIFY(records.last().isEmpty()); // the last one is whole, too
    }

    void AFullDiskSwitchesTheChargeOff()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.process.setChildProcessModifier([] {
            const rlimit limit{1500, 1500}; // bytes: a dozen records
            setrlimit(RLIMIT_FSIZE, &limit);
            std::signal(SIGXFSZ, SIG_IGN);
        });
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process.exitCode(), 1);
        QVERIFY(program.process.readAllStandardError().contains("Erreur de fichier : St_CH_D"));
        QVERIFY(board.Sent().endsWith(stopWrites));
    }

    void APortThatIsNotThereEndsAnUnattendedRun()
    {
        QTemporaryDir folder;
        Program program(folder);
        program.Start(chargeOptions +
                      QStringList{QStringLiteral("--port"), folder.filePath(QStringLiteral("nowhere"))});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 1);
        QVERIFY(program.process.readAllStandardError().contains("nowhere ne peut pas"));
    }

    void WhatIsNoSerialPortIsRefused_data()
    {
        QTest::addColumn<QString>("kind");
        for (const char *kind : {"pipe", "file", "folder"})
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }
    void WhatIsNoSerialPortIsRefused()
    {
        QFETCH(QString, kind);
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("port"));
        if (kind == QLatin1String("pipe"))
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        else if (kind == QLatin1String("file"))
            QVERIFY(QFile(path).open(QIODevice::WriteOnly));
        else
            QVERIFY(QDir().mkdir(path));
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), path});
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 1);
        const QByteArray said = program.process.readAllStandardError();
        QVERIFY2(said.startsWith(QStringLiteral("Le port série %1 ne peut pas être ouvert : ").arg(path).toUtf8()),
                 said.constData());
    }

    void AKilledProgramLeavesNoLockBehind()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForProgress(3));
        program.Signal(SIGKILL);
        QVERIFY(program.WaitForEnd());
        QTemporaryDir otherFolder;
        Program next(otherFolder);
        next.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(next.WaitForProgress(3));
        QCOMPARE(next.process.readAllStandardError(), QByteArray());
    }

    void TwoProgramsDoNotShareAPort_data()
    {
        QTest::addColumn<bool>("sameName");
        QTest::newRow("by the same name") << true;
        QTest::newRow("by another name") << false;
    }
    void TwoProgramsDoNotShareAPort()
    {
        QFETCH(bool, sameName);
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForProgress(3));
        QTemporaryDir otherFolder;
        Program second(otherFolder);
        const QString name = sameName ? board.Port() : QFileInfo(board.Port()).canonicalFilePath();
        second.Start(chargeOptions + QStringList{QStringLiteral("--port"), name});
        QVERIFY(second.WaitForEnd());
        QCOMPARE(second.process.exitCode(), 1);
        const QByteArray said = second.process.readAllStandardError();
        QVERIFY2(
            said.startsWith(QStringLiteral("Le port série %1 ne peut pas être ouvert : un autre programme s'en sert")
                                .arg(name)
                                .toUtf8()),
            said.constData());
        program.process.readAllStandardOutput();
        QVERIFY(program.WaitForProgress(3)); // undisturbed
        program.Signal(SIGINT);
        QVERIFY(program.WaitForEnd());
        QVERIFY(board.Sent().endsWith(stopWrites));
    }

    void AnUnpluggedBoardIsTakenUpAgain()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QVERIFY(program.WaitForProgress(5));
        board.Kill();
        QByteArray said;
        const auto lossesSaid = [&] { return (said += program.process.readAllStandardError()).count("est coup"); };
        QTRY_COMPARE_WITH_TIMEOUT(lossesSaid(), 1, 30000);
        program.process.readAllStandardOutput();
        // A fuller pack: its delta voltage is above all that was seen, and the charge goes on.
        QVERIFY(board.Start({QStringLiteral("--soc"), QStringLiteral("50")}));
        QVERIFY(program.WaitForProgress(5));
        QCOMPARE(lossesSaid(), 1);
    }

    void TheWindowsConnectWithoutARun()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start({QStringLiteral("--port"), board.Port()});
        QVERIFY(program.process.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(board.SentSoFar().endsWith("\x1b\x26\x0f"), 30000);
        program.process.terminate();
        QVERIFY(program.WaitForEnd());
        QByteArray expected("\x55\xaa\x1b\x01", 4);
        for (const char command : {char(37), char(38)})
            for (char address = 0; address < 16; ++address)
                expected.append(char(27)).append(command).append(address);
        const QByteArray sent = board.Sent();
        QVERIFY(sent.contains(expected.mid(1)));
        QCOMPARE(sent.mid(sent.indexOf(char(0xaa))), expected.mid(1)); // and nothing after it
    }
};

REGISTER_TEST(TestProgram)
#include "tst_program.moc"
