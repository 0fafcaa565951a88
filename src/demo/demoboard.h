// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <QProcess>

/// The virtual board that "--demo" connects to: a process of its own, which ends with this program, however that ends.
class DemoBoard : public QObject
{
    Q_OBJECT

public:
    /// The executable beside this program.
    static QString Executable();

    explicit DemoBoard(const QString &executable = Executable());
    ~DemoBoard() override;

    /// Starts the board, which runs `timeScale` times faster than real time.
    void Start(double timeScale);

Q_SIGNALS:
    /// The board can be reached at this port.
    void Ready(const QString &port);
    /// The board does not run, or no longer; why, in French. Nothing is told after that.
    void Failed(const QString &reason);

private:
    void ReadPort();
    void Ended(int code, QProcess::ExitStatus status);
    void Fail(const QString &reason);

    QProcess process_;
    bool ready_ = false;
    Alarm silent_{[this] { Fail(QStringLiteral("elle ne dit pas à quel port elle est")); }};
};
