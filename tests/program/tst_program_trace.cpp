// SPDX-License-Identifier: GPL-3.0-or-later
#include "program.h"
#include "support/rununtil.h"
#include "support/suite.h"

#include <QtTest>

namespace {
QByteArray Content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// What a program without a board prints; its status, too.
QByteArray Printed(const QStringList &arguments, int status)
{
    const QTemporaryDir folder;
    Program program(folder);
    program.process.start(QStringLiteral(VOLTAIRE), arguments);
    if (!program.WaitForEnd() || program.process.exitCode() != status)
        return "status " + QByteArray::number(program.process.exitCode());
    return status == 0 ? program.process.readAllStandardOutput() : program.process.readAllStandardError();
}
} // namespace

class TestProgramTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AChargeIsTracedAndReplayed()
    {
        const QTemporaryDir folder;
        const QString trace = folder.filePath(QStringLiteral("trace"));
        const auto charge = [](const QTemporaryDir &where, const QString &port, const QStringList &more) {
            Program program(where);
            program.Start(chargeOptions +
                          QStringList{QStringLiteral("--port"), port, QStringLiteral("--mode"), QStringLiteral("1"),
                                      QStringLiteral("--current"), QStringLiteral("2")} +
                          more);
            const bool ended = program.WaitForEnd() && program.process.exitCode() == 0;
            return ended ? Content(OnlyLog(where.path())).count('\n') : 0;
        };
        {
            Board board;
            QVERIFY(board.Start({QStringLiteral("--soc"), QStringLiteral("95")}));
            QVERIFY(charge(folder, board.Port(), {QStringLiteral("--trace"), trace}) > 100);
            QVERIFY(board.Stop());
            // What the board has heard and said, it has heard and said.
            QByteArray sent;
            for (const QByteArray &line : Content(trace).split('\n'))
                if (const qsizetype at = line.indexOf(" > "); at >= 0 && !line.startsWith('#'))
                    for (const QByteArray &byte : line.mid(at + 3, line.indexOf("→") - at - 3).simplified().split(' '))
                        sent.append(static_cast<char>(byte.toInt()));
            QVERIFY(sent.size() > 1000);
            QCOMPARE(sent, board.SentSoFar());
        }
        // An empty pack would take an hour; which record comes when is left to the machine here.
        const QTemporaryDir other;
        Board replayed;
        QVERIFY(replayed.Start({QStringLiteral("--replay"), trace, QStringLiteral("--soc"), QStringLiteral("1")}));
        QVERIFY(charge(other, replayed.Port(), {}) > 100);
    }

    void ATraceIsExplained()
    {
        const QTemporaryDir folder;
        const QString trace = folder.filePath(QStringLiteral("trace"));
        QFile file(trace);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("12 > 27 13\n34 < 27 2 45 170\n");
        file.close();
        QCOMPARE(Printed({QStringLiteral("--explain"), trace}, 0),
                 QByteArray("          12 > 27 13               → voie 13 (batterie)\n"
                            "          34 < 27 2 45 170         ← 557\n"));
    }

    void ADamagedTraceIsRefused()
    {
        const QTemporaryDir folder;
        const QString letter = folder.filePath(QStringLiteral("letter"));
        QFile file(letter);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# sent by a friend\n12 > 27 1300\n");
        file.close();
        QCOMPARE(Printed({QStringLiteral("--explain"), letter}, 1),
                 "voltaire : Erreur de fichier : " + letter.toUtf8() + " (ligne 2 : octet « 1300 »)\n");
        const QByteArray said =
            Printed({QStringLiteral("--trace"), letter, QStringLiteral("--run"), QStringLiteral("charge")}, 1);
        QVERIFY2(said.contains("voltaire : Erreur de fichier : " + letter.toUtf8() + " (ce n'est pas une trace"),
                 said.constData());
        QVERIFY(Content(letter).startsWith("# sent by a friend\n12 >"));

        QProcess board;
        board.start(QStringLiteral(VIRTUAL_BOARD), {QStringLiteral("--replay"), letter});
        QVERIFY(board.waitForFinished());
        QCOMPARE(board.exitCode(), 1);
        QCOMPARE(board.readAllStandardError(), "virtual-board : " + letter.toUtf8() + ", ligne 2 : octet « 1300 »\n");
        QCOMPARE(board.readAllStandardOutput(), QByteArray());
    }

    void PortsAreListed()
    {
        const QTemporaryDir devices;
        const QStringList list = {QStringLiteral("--list-ports"), QStringLiteral("--devices"), devices.path()};
        QCOMPARE(Printed(list, 0), QByteArray());
        Board first, second;
        QVERIFY(first.Start() && second.Start());
        QVERIFY(QFile::link(first.Port(), devices.filePath(QStringLiteral("ttyTwo"))));
        QVERIFY(QFile::link(second.Port(), devices.filePath(QStringLiteral("ttyOne"))));
        QCOMPARE(Printed(list, 0), QByteArray("ttyOne\tpseudo-terminal\t\nttyTwo\tpseudo-terminal\t\n"));

        const QTemporaryDir folder; // and reached by those names
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--devices"), devices.path(), QStringLiteral("--port"),
                                                  QStringLiteral("ttyTwo")});
        QVERIFY(program.WaitForProgress(1));
    }

    void OptionsAreExplainedAndChecked()
    {
        const QByteArray help = Printed({QStringLiteral("--help")}, 0);
        for (const char *option : {"--list-ports", "--devices", "--logs", "--trace", "--explain"})
            QVERIFY2(help.contains(option), option);
        for (const char *other : {"list-ports", "explain", "view", "export"}) {
            QStringList arguments = {QStringLiteral("--trace"), QStringLiteral("t"),
                                     QStringLiteral("--") + QLatin1String(other)};
            if (QLatin1String(other) != QLatin1String("list-ports"))
                arguments.append(QStringLiteral("file"));
            if (QLatin1String(other) == QLatin1String("export"))
                arguments.append({QStringLiteral("-o"), QStringLiteral("csv")});
            const QString said = QString::fromUtf8(Printed(arguments, 2));
            QVERIFY2(said.contains(QStringLiteral("--%1 et --trace ne vont pas ensemble").arg(QLatin1String(other))),
                     qPrintable(said));
        }
    }

    void ThePortRememberedIsOfTheWindowsOnly()
    {
        const QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        QVERIFY(QDir().mkpath(program.drive));
        QFile settings(program.drive + QStringLiteral("/voltaire.ini"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[Port]\nnom=" + board.Port().toUtf8() + "\ncarteVirtuelle=false\n");
        settings.close();
        const QTemporaryDir noDevices;
        const QStringList devices = {QStringLiteral("--devices"), noDevices.path()};
        program.Start(chargeOptions + devices);
        QVERIFY(program.WaitForEnd());
        QCOMPARE(program.process.exitCode(), 1);
        QVERIFY(
            QString::fromUtf8(program.process.readAllStandardError()).contains(QStringLiteral("Le port série ttyS0 ")));
        QCOMPARE(board.SentSoFar(), QByteArray());
        program.Start(devices);
        QVERIFY(RunUntil([&] { return !board.SentSoFar().isEmpty(); }));
    }

    void LogsLieWhereTheyAreWanted()
    {
        const QTemporaryDir folder;
        Board board;
        QVERIFY(board.Start());
        Program program(folder);
        program.Start(chargeOptions + QStringList{QStringLiteral("--port"), board.Port(), QStringLiteral("--logs"),
                                                  QStringLiteral("new/logs"), QStringLiteral("--trace"),
                                                  QStringLiteral("trace")});
        QVERIFY(program.WaitForProgress(2));
        QVERIFY(!OnlyLog(folder.filePath(QStringLiteral("new/logs"))).isEmpty());
        QVERIFY(OnlyLog(folder.path()).isEmpty());
        QVERIFY(QFile::exists(folder.filePath(QStringLiteral("trace"))));
    }
};

REGISTER_TEST(TestProgramTrace)
#include "tst_program_trace.moc"
