// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "base/window.h"
#include "limits.h"

/// "--run": works a window's controls as a user would, prints the progress on standard output and says when the program
/// is to end, and with which status: 0 when the run has ended by its rule, 1 after an error, 3 when it was ended for a
/// cause, such as a limit.
class Unattended : public QObject
{
    Q_OBJECT

public:
    /// The window is open: limits its run.
    void SetLimits(const Limits &limits);
    /// The window is open: names the battery; empty for none.
    void SetPack(const QString &name);

    /// The window is open and the board connected: sets the controls and presses "Demarrage".
    virtual void SetControls() = 0;

Q_SIGNALS:
    /// There is nothing more to do.
    void Over(int status);
    /// The run was ended because the board measures no more.
    void Alarmed();

protected:
    static constexpr int failed = 1;

    explicit Unattended(Window &window);

    void SetText(const QString &box, const QString &text);

    /// Whether the board can set a current that was asked for with `option`; `scale` is the setting of one ampere, 0
    /// for none. If it cannot, that is said and the program ends.
    bool IsPossible(const QString &option, const QString &what, double amperes, int scale);
    /// Moves a slider to the setting that is nearest to a possible current; false when it is there already.
    bool SetCurrent(const QString &slider, const QString &what, double amperes, int scale);

    void PressStart();
    bool IsStarted() const { return started_; }

    /// The run has ended by its rule.
    void End(const QString &summary);
    /// The run is ended for a cause.
    void EndFor(const QString &cause);

    static void Print(const QString &line);

    /// Elapsed seconds as hh:mm:ss.
    static QString TimeText(double seconds);

private:
    Window &window_;
    Alarm tooLate_; ///< to begin
    bool started_ = false;
};
