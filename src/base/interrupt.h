// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

/// Tells of the signals that ask the program to end (Ctrl-C, kill, a terminal that goes away) in the event loop instead
/// of ending it by them. A reader of its output that goes away does not end it either.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    /// "TERM" for SIGTERM.
    static QString Name(int signal);

    /// One at a time.
    Interrupt();
    ~Interrupt() override;

Q_SIGNALS:
    /// The number of the signal: SIGINT, SIGTERM or SIGHUP.
    void Received(int signal);
};
