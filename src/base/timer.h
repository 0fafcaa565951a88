// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "clock.h"

#include <QObject>

/// A timer of a window: ticks every interval while it is enabled. All of them run faster by the time scale.
class Timer : public QObject
{
    Q_OBJECT

public:
    /// `name` is its objectName, `milliseconds` its interval; it starts disabled.
    Timer(const QString &name, int milliseconds, QObject *parent);

    /// Milliseconds between two ticks, before scaling; an enabled timer starts its interval afresh.
    void SetInterval(int milliseconds);
    int Interval() const { return milliseconds_; }
    void SetEnabled(bool enabled);
    bool Enabled() const { return enabled_; }

    /// How many times faster than real time every Timer runs (1 or more); set once, when the program starts.
    static void SetScale(double scale);
    static double Scale();
    /// The seconds of a stopwatch, as every Timer counts them.
    static double Seconds(const Stopwatch &watch);

Q_SIGNALS:
    void Tick();

private:
    Clock::Duration Scaled() const;
    void Ring();

    int milliseconds_;
    bool enabled_ = false;
    Clock::Duration due_{};
    Alarm alarm_;
};
