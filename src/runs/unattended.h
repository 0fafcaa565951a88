#pragma once

#include "base/clock.h"
#include "base/interrupt.h"
#include "base/window.h"
#include "limits.h"

/// "--run": works a window's controls as a user would, prints the progress on standard output and ends the program:
/// status 0 when the run has ended by its rule, 1 after an error, 3 when it was ended for a cause, such as a limit, 128
/// and the number of the signal after one that asks the program to end, which presses "Arret" first.
class Unattended : public QObject
{
    Q_OBJECT

public:
    /// The window is open: limits its run.
    void SetLimits(const Limits &limits);

    /// The window is open and the board connected: sets the controls and presses "Demarrage".
    virtual void SetControls() = 0;

protected:
    explicit Unattended(Window &window);

    virtual void SwitchOffUnanswered() = 0;

    void SetText(const QString &box, const QString &text);

    enum class Setting
    {
        Sent,
        AlreadyThere,
        Impossible
    };
    /// Moves a slider to the setting that is nearest to a current; `scale` is the setting of one ampere. With a scale
    /// of 0 that is impossible and the program ends.
    Setting SetCurrent(const QString &slider, const QString &what, double amperes, int scale);

    void PressStart();
    bool IsStarted() const { return started_; }

    /// The run is being ended for this cause.
    void Stopping(const QString &cause);
    /// "Arret" is done.
    void Stopped();

    /// The run is over: says so and ends the program.
    static void End(const QString &summary);

    static void Print(const QString &line);

    /// Elapsed seconds as hh:mm:ss.
    static QString TimeText(double seconds);

private:
    void Interrupted(int signal);

    Window &window_;
    Interrupt interrupt_;
    Alarm giveUp_;
    int status_ = 0; ///< with which an interrupted program ends
    bool started_ = false;
};
