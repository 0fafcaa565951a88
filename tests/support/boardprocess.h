// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QProcess>
#include <QTemporaryDir>

/// The virtual board as a process of its own, with a port that no other test has, as ScriptedBoard's.
class BoardProcess
{
public:
    ~BoardProcess() { Stop(); }

    /// Starts the board; false when it cannot be reached after half a minute.
    bool Start(const QStringList &options = {})
    {
        process_.start(QStringLiteral(VIRTUAL_BOARD),
                       options + QStringList{QStringLiteral("--link"), Port(), QStringLiteral("--until-stdin-closes")});
        return process_.waitForReadyRead(30000) && process_.readLine().startsWith("port ");
    }
    /// Lets the board end, which writes its files.
    bool Stop()
    {
        process_.closeWriteChannel();
        return process_.state() == QProcess::NotRunning || process_.waitForFinished();
    }
    /// Ends the board as if its plug were pulled.
    void Kill()
    {
        process_.kill();
        process_.waitForFinished();
    }
    /// Gives the board an order, as a line of text.
    void Tell(const QByteArray &order)
    {
        process_.write(order + '\n');
        process_.waitForBytesWritten();
    }

    QString Port() const { return folder_.filePath(QStringLiteral("port")); }
    /// A file beside the port.
    QString Path(const char *name) const { return folder_.filePath(QLatin1String(name)); }

private:
    QTemporaryDir folder_;
    QProcess process_;
};
