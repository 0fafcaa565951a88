#include "demoboard.h"

#include <QCoreApplication>
#include <QDir>

DemoBoard::DemoBoard(double timeScale)
{
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(&process_, &QProcess::readyReadStandardOutput, this, &DemoBoard::ReadPort);
    connect(&process_, &QProcess::errorOccurred, this, [this] {
        Q_EMIT Failed(QStringLiteral("La carte virtuelle ne démarre pas : %1").arg(process_.errorString()));
    });
    // A name that no other program's port has: that of the pseudo-terminal may still be locked by the last who had it.
    const QString link =
        QDir::temp().filePath(QStringLiteral("voltaire-demo-%1").arg(QCoreApplication::applicationPid()));
    process_.start(QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("virtual-board")),
                   {QStringLiteral("--link"), link, QStringLiteral("--time-scale"), QString::number(timeScale),
                    QStringLiteral("--until-stdin-closes")});
}

DemoBoard::~DemoBoard()
{
    process_.disconnect(this);
    process_.closeWriteChannel();
    process_.waitForFinished(2000);
}

void DemoBoard::ReadPort()
{
    if (!process_.canReadLine())
        return;
    const QString line = QString::fromLocal8Bit(process_.readLine()).trimmed();
    const QString prefix = QStringLiteral("port ");
    if (line.startsWith(prefix))
        Q_EMIT Ready(line.mid(prefix.size()));
}
