// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/answers.h"

#include <QObject>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <memory>

/// The board's end of a pseudo-terminal, driven by a test in the same thread.
class PtyBoard : public QObject, public Answers
{
    Q_OBJECT

public:
    PtyBoard();
    ~PtyBoard() override;

    /// The path of the program's end: a link, so that no other test has a port of this name. (Two tests at once may be
    /// given the same pseudo-terminal one after the other, and the lock of the first may still lie on its number.)
    QString Port() const { return folder_.filePath(QStringLiteral("port")); }

    /// Waits without events until so many bytes have reached this end, and gives all of them; nothing of it is
    /// answered.
    const QByteArray &Await(int count);

    /// Sends bytes to the program now.
    void Send(const QByteArray &bytes);

    /// Sends as much as the pseudo-terminal takes now; how many bytes that were.
    qsizetype SendSome(const QByteArray &bytes);

    /// Speed that the program has set, in baud.
    int Speed() const;
    /// Stop bits that the program has set.
    int StopBits() const;

    /// Ends the pseudo-terminal, like a pulled plug.
    void Unplug();

private:
    void Read();
    void timerEvent(QTimerEvent *event) override;
    void Reply(const QByteArray &bytes) override { Send(bytes); }

    int master_ = -1;
    QTemporaryDir folder_;
    std::unique_ptr<QSocketNotifier> notifier_;
};
