// SPDX-License-Identifier: GPL-3.0-or-later
#include "program.h"
#include "support/suite.h"

#include <QDir>
#include <QRegularExpression>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {
/// The numbers below each name.
QMap<QByteArray, QList<double>> LoadCsv(const QString &path)
{
    QFile file(path);
    QMap<QByteArray, QList<double>> table;
    if (!file.open(QIODevice::ReadOnly))
        return table;
    const QByteArrayList names = file.readLine().trimmed().split(',');
    while (!file.atEnd()) {
        const QByteArrayList fields = file.readLine().trimmed().split(',');
        for (qsizetype i = 0; i < fields.size(); ++i)
            table[names.at(i)].append(fields[i].toDouble());
    }
    return table;
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
        for (const char *option :
             {"Usage :", "--port", "--demo", "--time-scale", "--drive-c", "--run", "--current", "--mode", "--every",
              "--max-temperature", "--max-minutes", "--max-mah", "--view", "--export", "--import", "--pack"})
            QVERIFY2(help.contains(QLatin1String(option)), option);
    }

    void WrongOptionsAreRefused_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("why");
        const QString charge = QStringLiteral("--run charge ");
        const QString capacity = QStringLiteral("--run capacity --charge 1 --discharge 1 --cells ");
        const QString amperes = QStringLiteral("il faut un nombre d'ampères, 0 ou plus");
        const QString scale = QStringLiteral("il faut un nombre de 1 à 1000");
        const auto whole = [](int least, int most) {
            return QStringLiteral("il faut un nombre entier de %1 à %2").arg(least).arg(most);
        };
        const auto row = [](const QString &arguments, const QString &why) {
            QTest::newRow(qPrintable(arguments)) << arguments << why;
        };
        row(QStringLiteral("--nonsense"), QStringLiteral("option inconnue : nonsense"));
        row(QStringLiteral("charge"), QStringLiteral("argument inattendu : charge"));
        row(QStringLiteral("--port"), QStringLiteral("il manque une valeur"));
        row(QStringLiteral("--run cuire"), QStringLiteral("ne connaît pas « cuire »"));
        row(QStringLiteral("--current 1"), QStringLiteral("ne va qu'avec --run"));
        row(QStringLiteral("--demo --port ttyS0"), QStringLiteral("ne vont pas ensemble"));
        row(QStringLiteral("--run discharge --cells 4"), QStringLiteral("demande --current"));
        for (const char *wrong : {"0", "vite", "inf", "nan", "1e9", "-5"})
            row(QStringLiteral("--time-scale ") + QLatin1String(wrong), scale);
        for (const char *wrong : {"-1", "inf", "-inf", "nan", "1e999", "beaucoup"}) {
            row(charge + QStringLiteral("--current ") + QLatin1String(wrong), amperes);
            row(QStringLiteral("--run capacity --cells 4 --discharge 1 --charge ") + QLatin1String(wrong), amperes);
            row(QStringLiteral("--run capacity --cells 4 --charge 1 --discharge ") + QLatin1String(wrong), amperes);
        }
        for (const char *wrong : {"abc", "300", "-1", "1.5", "inf"})
            row(charge + QStringLiteral("--mode ") + QLatin1String(wrong), whole(0, 255));
        for (const char *wrong : {"1.5", "1e300", "0", "101", "nan"}) {
            row(QStringLiteral("--run discharge --current 1 --cells ") + QLatin1String(wrong), whole(1, 100));
            row(capacity + QLatin1String(wrong), whole(1, 100));
        }
        for (const char *wrong : {"0", "2.5", "1e300", "1001"})
            row(capacity + QStringLiteral("4 --cycles ") + QLatin1String(wrong), whole(1, 1000));
        for (const char *wrong : {"0", "0.5", "inf", "100001"})
            row(charge + QStringLiteral("--every ") + QLatin1String(wrong), whole(1, 100000));
        for (const char *wrong : {"19", "101", "150", "chaud"})
            row(charge + QStringLiteral("--max-temperature ") + QLatin1String(wrong), whole(20, 100));
        for (const char *wrong : {"0", "1.5"})
            row(charge + QStringLiteral("--max-minutes ") + QLatin1String(wrong), whole(1, 9999));
        for (const char *wrong : {"1e9", "-1"})
            row(charge + QStringLiteral("--max-mah ") + QLatin1String(wrong), whole(1, 99999));
        row(QStringLiteral("--export log"), QStringLiteral("--export et -o vont ensemble"));
        row(QStringLiteral("-o out.csv"), QStringLiteral("--export et -o vont ensemble"));
        row(QStringLiteral("--view log --run charge"), QStringLiteral("--view et --run ne vont pas ensemble"));
        row(QStringLiteral("--import log --run charge"), QStringLiteral("--import et --run ne vont pas ensemble"));
        row(QStringLiteral("--import log --view log"), QStringLiteral("--import et --view ne vont pas ensemble"));
        row(QStringLiteral("--import log --max-mah 100"), QStringLiteral("--max-mah ne va pas avec --import"));
        row(QStringLiteral("--pack A"), QStringLiteral("--pack ne va qu'avec --run"));
        row(charge + QStringLiteral("--pack ") + QString(61, u'a'), QStringLiteral("un nom de 1 à 60 lettres"));
        row(QStringLiteral("--max-mah 100"), QStringLiteral("ne va qu'avec --run"));
    }
    void WrongOptionsAreRefused()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, why);
        QTemporaryDir folder;
        Program program(folder);
        program.process.start(QStringLiteral(VOLTAIRE), arguments.split(u' '));
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 2);
        const QString said = QString::fromUtf8(program.process.readAllStandardError());
        QVERIFY2(said.startsWith(QStringLiteral("voltaire : ")) && said.contains(why), qPrintable(said));
    }

    void ACurrentBeyondTheBoardIsRefused_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("why");
        QTest::newRow("charge") << QStringLiteral("charge --current 9")
                                << QStringLiteral("--current 9 : de 0 à 5.1 A avec cette carte");
        QTest::newRow("discharge") << QStringLiteral("discharge --cells 4 --current 1e308")
                                   << QStringLiteral("--current 1e+308 : de 0 à 6.37 A avec cette carte");
        QTest::newRow("capacity, charge") << QStringLiteral("capacity --cells 4 --discharge 1 --charge 5.2")
                                          << QStringLiteral("--charge 5.2 : de 0 à 5.1 A avec cette carte");
        QTest::newRow("capacity, discharge") << QStringLiteral("capacity --cells 4 --charge 1 --discharge 7")
                                             << QStringLiteral("--discharge 7 : de 0 à 6.37 A avec cette carte");
    }
    void ACurrentBeyondTheBoardIsRefused()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, why);
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(QStringList{QStringLiteral("--port"), board.Port(), QStringLiteral("--run")} +
                      arguments.split(u' '));
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 1);
        const QString said = QString::fromUtf8(program.process.readAllStandardError());
        QVERIFY2(said.endsWith(why + u'\n'), qPrintable(said));
        QVERIFY(board.Sent().endsWith("\x1b\x26\x0f")); // the last of the connection, and nothing after it
    }

    void ALogIsExportedWithoutBoardAndDisplay()
    {
        QTemporaryDir folder;
        const QByteArray log =
            "DUREE:VALIMCAD:VDBLCAD:TEMPCAD:VALIM:VDBL:TEMPER:IDCHRGCAD:VDELTACAD:ICHRG:VBAT:CAPACITE:"
            "TEMPS\r\n\r\n 3600 : 1 : 2 : 3 : 13,5 : 20 : 25 : 4 : 5 : 2,5 : 7,25 : 2500 : 0,04 \r\n"
            " 3601 : 1 : 2 :"; // it is being written
        const QString csv = folder.filePath(QStringLiteral("out.csv"));
        for (const QString &name : {QStringLiteral("log"), QStringLiteral("foreign")}) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(name == QStringLiteral("log") ? log : "a letter\n");
        }
        Program program(folder);
        QProcessEnvironment environment = program.process.processEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("none"));
        program.process.setProcessEnvironment(environment);
        const auto exportOf = [&](const char *name) {
            program.Start({QStringLiteral("--export"), QLatin1String(name), QStringLiteral("-o"), csv});
            return program.WaitForEnd() ? program.process.exitCode() : -1;
        };
        QCOMPARE(exportOf("log"), 0);
        const auto table = LoadCsv(csv);
        QCOMPARE(table.value("Time [s]"), QList<double>({3600}));
        QCOMPARE(table.value("Step"), QList<double>({1}));
        QCOMPARE(table.value("Cycle"), QList<double>({1}));
        QCOMPARE(table.value("Current [A]"), QList<double>({-2.5}));
        QCOMPARE(table.value("Voltage [V]"), QList<double>({7.25}));
        QCOMPARE(table.value("Capacity [Ah]"), QList<double>({-2.5}));
        QCOMPARE(table.value("Temperature [C]"), QList<double>({25}));
        for (const char *wrong : {"foreign", "nowhere"}) {
            program.process.readAllStandardError();
            QCOMPARE(exportOf(wrong), 1);
            const QString said = QString::fromUtf8(program.process.readAllStandardError());
            QVERIFY2(said.startsWith(QStringLiteral("voltaire : Erreur de fichier : ")), qPrintable(said));
            QCOMPARE(LoadCsv(csv), table); // what was there stays
        }
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
        QCOMPARE(match.captured(2), OnlyLog(folder.path()));
        const int charged = match.captured(1).toInt();
        QVERIFY2(charged > 50 && charged < 500, qPrintable(match.captured(1)));
        // One line a record, one for the current and the last one.
        QCOMPARE(RecordsOf(OnlyLog(folder.path())).size() - 1, output.size() - 2);
        QVERIFY(WithoutAssurance(board.Sent()).endsWith(endWrites));
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
        QVERIFY(RecordsOf(OnlyLog(folder.path())).size() - 1 >= 11);
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
        QVERIFY(WithoutAssurance(board.Sent()).endsWith(stopWrites));
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
        QCOMPARE(program.process.exitCode(), 4);
        const QByteArray said = program.process.readAllStandardError();
        QVERIFY2(said.contains("la carte charge peut-être encore"), said.constData());
        QVERIFY(WithoutAssurance(board.Sent()).contains(stopWrites));
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
        const auto records = RecordsOf(OnlyLog(folder.path())).size();
        QTRY_VERIFY_WITH_TIMEOUT(RecordsOf(OnlyLog(folder.path())).size() > records + 10, 30000);
        program.Signal(SIGINT);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 130);
        QVERIFY(WithoutAssurance(board.Sent()).endsWith(stopWrites));
    }

    void AnInterruptWithASilentBoardSaysThatItMayBeOn()
    {
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start(Board::FallsSilent()));
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port()});
        QTRY_VERIFY_WITH_TIMEOUT(board.IsSilent(), 30000);
        program.Signal(SIGINT);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 4);
        const QByteArray said = program.process.readAllStandardError();
        QVERIFY2(said.contains("la carte charge peut-être encore"), said.constData());
        QVERIFY(WithoutAssurance(board.Sent()).contains(stopWrites));
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
        const QByteArrayList records = RecordsOf(OnlyLog(folder.path()));
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
        QVERIFY(WithoutAssurance(board.Sent()).endsWith(stopWrites));
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
        QVERIFY(WaitForPort(board.Port()));
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
        QVERIFY(WithoutAssurance(board.Sent()).endsWith(stopWrites));
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

    void TheWindowsConnectWithoutARun_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("Ctrl-C") << SIGINT;
        QTest::newRow("kill") << SIGTERM;
        QTest::newRow("lost terminal") << SIGHUP;
    }
    void TheWindowsConnectWithoutARun()
    {
        QFETCH(int, signal);
        QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start({QStringLiteral("--port"), board.Port()});
        QVERIFY(program.process.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(board.SentSoFar().endsWith("\x1b\x26\x0f"), 30000);
        program.Signal(signal);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process.exitCode(), 128 + signal);
        QVERIFY(WaitForPort(board.Port()));
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
