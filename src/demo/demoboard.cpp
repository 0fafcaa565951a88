// SPDX-License-Identifier: GPL-3.0-or-later
#include "demoboard.h"

#include <QCoreApplication>
#include <QDir>

#include <unistd.h>

namespace {
constexpr auto starting = 10s; // how long the board may take to name its port
constexpr int ending = 2000;   // ...and, in milliseconds, to end
} // namespace

QString DemoBoard::Executable()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("virtual-board"));
}

DemoBoard::DemoBoard(const QString &executable)
{
    process_.setProgram(executable);
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.setChildProcessModifier([] { setsid(); }); // Ctrl-C is for the program, which needs the board to stop
    connect(&process_, &QProcess::readyReadStandardOutput, this, &DemoBoard::ReadPort);
    connect(&process_, &QProcess::finished, this, &DemoBoard::Ended);
    connect(&process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) // it has not finished then
            Fail(process_.errorString());
    });
}

DemoBoard::~DemoBoard()
{
    process_.disconnect(this);
    process_.closeWriteChannel();
    if (process_.state() != QProcess::NotRunning && !process_.waitForFinished(ending))
        process_.kill();
}

void DemoBoard::Start(double timeScale)
{
    // A name that no other program's port has: that of the pseudo-terminal may still be locked by the last who had it.
    const QString link =
        QDir::temp().filePath(QStringLiteral("voltaire-demo-%1").arg(QCoreApplication::applicationPid()));
    process_.setArguments({QStringLiteral("--link"), link, QStringLiteral("--time-scale"), QString::number(timeScale),
                           QStringLiteral("--until-stdin-closes")});
    silent_.Start(starting);
    process_.start();
}

void DemoBoard::ReadPort()
{
    const QString prefix = QStringLiteral("port ");
    while (process_.canReadLine()) {
        const QString line = QString::fromLocal8Bit(process_.readLine()).trimmed();
        if (ready_ || !line.startsWith(prefix))
            continue;
        ready_ = true;
        silent_.Stop();
        Q_EMIT Ready(line.mid(prefix.size()));
    }
}

void DemoBoard::Ended(int code, QProcess::ExitStatus status)
{
    Fail(status == QProcess::CrashExit ? QStringLiteral("elle a été interrompue")
                                       : QStringLiteral("elle s'est terminée avec le code %1").arg(code));
}

void DemoBoard::Fail(const QString &reason)
{
    silent_.Stop();
    process_.disconnect(this);
    const QString what = ready_ ? QStringLiteral("La carte virtuelle ne marche plus : ")
                                : QStringLiteral("La carte virtuelle ne démarre pas : ");
    Q_EMIT Failed(what + reason);
}
