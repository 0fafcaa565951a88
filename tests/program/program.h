// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/boardprocess.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

/// The program as its users start it, in a folder of its own.
class Program
{
public:
    explicit Program(const QTemporaryDir &folder)
    {
        process.setWorkingDirectory(folder.path());
        drive = folder.filePath(QStringLiteral("c"));
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
        process.start(executable, arguments + QStringList{QStringLiteral("--drive-c"), drive});
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

    QString executable = QStringLiteral(VOLTAIRE);
    QString drive; ///< what stands for "C:\"
    QProcess process;
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

inline const QByteArray endWrites("\x1b\x11\x00\x1b\x0f\x00", 6);
inline const QByteArray stopWrites("\x1b\x0f\x00\x1b\x11\x00\x1b\x12\x01", 9);
inline const QByteArray readLines("\x1b\x1f", 2);
inline const QByteArray guardWrites("\x1b\x0f\x00\x1b\x11\x00\x1b\x12\x01\x1b\x10\x00", 12);
inline const QStringList chargeOptions = {QStringLiteral("--run"), QStringLiteral("charge"),
                                          QStringLiteral("--time-scale"), QStringLiteral("200")};

/// What was sent without that which makes sure of an end: the program's reading of the lines where something was in
/// doubt, and the guard's writes where the program has gone before it was certain.
inline QByteArray WithoutAssurance(QByteArray sent)
{
    for (;;) {
        if (sent.endsWith(readLines))
            sent.chop(readLines.size());
        else if (sent.endsWith(guardWrites))
            sent.chop(guardWrites.size());
        else
            return sent;
    }
}

/// Waits until nobody has the port any more; a guard keeps it for a moment after the program.
inline bool WaitForPort(const QString &path)
{
    const int port = open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const bool free = flock(port, LOCK_EX) == 0;
    close(port);
    return free;
}

inline QString OnlyLog(const QString &folder)
{
    const QStringList logs = QDir(folder).entryList({QStringLiteral("St_CH_D*.txt")}, QDir::Files);
    return logs.isEmpty() ? QString() : QDir(folder).filePath(logs.last());
}

inline QByteArrayList RecordsOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArrayList lines = file.readAll().split('\n');
    return lines.mid(2);
}
