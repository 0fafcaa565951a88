// SPDX-License-Identifier: GPL-3.0-or-later
#include "timer.h"

#include <algorithm>

namespace {
double timeScale = 1;
}

Timer::Timer(const QString &name, int milliseconds, QObject *parent)
    : QObject(parent), milliseconds_(milliseconds), alarm_([this] { Ring(); })
{
    setObjectName(name);
}

Clock::Duration Timer::Scaled() const
{
    return 1ms * std::max(1, qRound(milliseconds_ / timeScale));
}

void Timer::SetInterval(int milliseconds)
{
    milliseconds_ = milliseconds;
    if (enabled_)
        SetEnabled(true);
}

void Timer::SetEnabled(bool enabled)
{
    enabled_ = enabled;
    if (enabled) {
        due_ = Clock::Current().Now() + Scaled();
        alarm_.Start(Scaled());
    } else {
        alarm_.Stop();
    }
}

void Timer::Ring()
{
    // From the moment that was due, so that a late tick does not put off all that follow; ticks that were missed
    // altogether are not made up for.
    const Clock::Duration now = Clock::Current().Now();
    due_ += Scaled() * (1 + (now - due_) / Scaled());
    alarm_.Start(due_ - now);
    Q_EMIT Tick();
}

void Timer::SetScale(double scale)
{
    timeScale = std::max(1.0, scale);
}

double Timer::Scale()
{
    return timeScale;
}

double Timer::Seconds(const Stopwatch &watch)
{
    return std::chrono::duration<double>(watch.Elapsed()).count() * timeScale;
}
