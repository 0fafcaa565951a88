// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/flag.h"
#include "base/task.h"
#include "base/timer.h"

#include <QObject>

class Codebas;

/// The connection: greets the board until it answers, reports on its I2C link and loads the first bytes of both
/// EEPROMs.
class Handshake : public QObject
{
    Q_OBJECT

public:
    /// `timer1` and `timer2` are the main window's: the first paces the attempts, the second limits the wait of one.
    Handshake(Codebas &link, Timer &timer1, Timer &timer2);

    /// Opens the port if need be and connects; without end while the board does not answer. When somebody else wants
    /// the line, a greeting that has heard nothing for a second begins again behind him. Throws PortError.
    Task<void> ConnectBoard();

Q_SIGNALS:
    /// The board is being called, or no longer.
    void Greeting(bool begins);
    /// Text for the main window's display.
    void Display(const QString &text);
    /// Loading of the EEPROMs begins: what to say and where the progress ends; then how far it is; then it is over.
    void LoadStarted(const QString &caption, int maximum);
    void LoadProgress(int value);
    void LoadEnded();
    /// The session is open.
    void Connected();

private:
    class Pacing;

    Task<void> Greet();
    Task<bool> GreetUntilAnswered();
    Task<bool> Attempt(int number);
    Task<bool> AwaitSecondAnswer();
    Task<void> ChangeSpeed();
    Task<void> AwaitQuiet();
    int TakeBurst();
    bool Hears() const;
    bool Deserted() const;
    Task<void> ReportI2c();
    Task<void> LoadEeproms();

    Codebas &link_;
    Timer &timer1_;
    Timer &timer2_;
    Timer speedTimer_;
    bool speedDue_ = false;
    Flag news_; ///< woken by whatever a greeting may wait for
    Stopwatch heard_;
    int attempts_ = 0;
    int unanswered_ = 0;     ///< first greetings whose answer may still be on its way
    bool secondDue_ = false; ///< the answer to a second one may be
};
