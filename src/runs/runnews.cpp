// SPDX-License-Identifier: GPL-3.0-or-later
#include "runnews.h"

#include "base/timer.h"

double RunNews::Seconds() const
{
    return clock_ ? Timer::Seconds(*clock_) : lasted_;
}

void RunNews::Begin(const QString &settings)
{
    settings_ = settings;
    log_.clear();
    clock_.emplace();
    Q_EMIT Began();
}

void RunNews::SetLog(const QString &path)
{
    if (!On() || path == log_)
        return;
    log_ = path;
    Q_EMIT LogMoved();
}

void RunNews::BeginPhase(const QString &name)
{
    if (On())
        Q_EMIT PhaseBegan(name);
}

void RunNews::Tell(RunPoint point)
{
    if (!On())
        return;
    point.seconds = Seconds();
    Q_EMIT Measured(point);
}

void RunNews::End(RunEnd::How how, const QString &why)
{
    if (!On())
        return;
    lasted_ = Seconds();
    clock_.reset();
    Q_EMIT Over({how, why});
}
