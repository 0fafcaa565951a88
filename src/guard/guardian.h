// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/codebas.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>

#include <sys/types.h>

/// The program's side of voltaire-guard, a process that switches off what is on when this one is dead or stands still
/// for ten seconds. It runs while the program has something to see off (Outputs::WhatIsWatched), is given the open
/// port, and is started again when it is gone.
class Guardian : public QObject
{
    Q_OBJECT

public:
    /// `descriptor` gives that of the port, -1 while it is closed.
    Guardian(Codebas &link, std::function<int()> descriptor);
    ~Guardian() override;

    /// Where the guard's program lies; beside this one unless it is set.
    void SetProgram(const QString &path);

    /// Whether something is on without a guard.
    bool IsMissing() const { return missing_; }
    /// The guard's process, 0 while there is none.
    pid_t Process() const { return process_; }

    /// The cause of what is stopped when it has fired.
    static inline const QString cause = QStringLiteral("le programme n'a pas réagi pendant dix secondes");

Q_SIGNALS:
    /// This program stood still, and the guard has switched off what was on.
    void Fired();
    void MissingChanged(bool missing);

private:
    void Follow();
    bool StartProcess();
    void End();
    void Reap();
    void GiveOrders();
    void GivePort();
    void Beat();
    bool Send(const QByteArray &message, int descriptor = -1);
    void Listen();
    void StartAgain();
    void SetMissing(bool missing);

    Outputs &outputs_;
    std::function<int()> descriptor_;
    QByteArray program_;
    int socket_ = -1;
    pid_t process_ = 0;
    std::vector<pid_t> ended_; ///< guards whose end is still to be looked after
    bool missing_ = false;
    Stopwatch started_;
    std::unique_ptr<QSocketNotifier> notifier_;
    Alarm beat_{[this] { Beat(); }};
    Alarm again_{[this] { Follow(); }};
};
