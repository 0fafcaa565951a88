// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/timer.h"
#include "runnews.h"

/// How far a run has come, in words, which change at least once a minute.
class RunProgress : public QObject
{
    Q_OBJECT

public:
    RunProgress(const RunNews &news, QObject *parent);

    /// Hours and minutes, the phase of a capacity measurement, and what has flowed as far as it is known:
    /// "02:40 · Decharge · 300 mAh". Of the last run when none is on.
    QString Text() const;
    const RunNews &Run() const { return news_; }

Q_SIGNALS:
    void Changed();

private:
    void Begin();
    void BeginPhase(const QString &name);
    void Take(const RunPoint &point);

    const RunNews &news_;
    Timer minute_{QStringLiteral("Timerminute"), 60000, this};
    QString phase_;
    std::optional<double> milliampereHours_;
};
