// SPDX-License-Identifier: GPL-3.0-or-later
#include "runprogress.h"

#include <cmath>

RunProgress::RunProgress(const RunNews &news, QObject *parent) : QObject(parent), news_(news)
{
    connect(&news, &RunNews::Began, this, &RunProgress::Begin);
    connect(&news, &RunNews::PhaseBegan, this, &RunProgress::BeginPhase);
    connect(&news, &RunNews::Measured, this, &RunProgress::Take);
    connect(&news, &RunNews::Over, this, [this] { minute_.SetEnabled(false); });
    connect(&minute_, &Timer::Tick, this, &RunProgress::Changed);
}

void RunProgress::Begin()
{
    phase_.clear();
    milliampereHours_.reset();
    minute_.SetEnabled(true);
    Q_EMIT Changed();
}

void RunProgress::BeginPhase(const QString &name)
{
    phase_ = name;
    milliampereHours_.reset();
    Q_EMIT Changed();
}

void RunProgress::Take(const RunPoint &point)
{
    milliampereHours_ = point.milliampereHours;
    Q_EMIT Changed();
}

QString RunProgress::Text() const
{
    const auto minutes = static_cast<qint64>(news_.Seconds() / 60);
    QString text =
        QStringLiteral("%1:%2").arg(minutes / 60, 2, 10, QLatin1Char('0')).arg(minutes % 60, 2, 10, QLatin1Char('0'));
    if (!phase_.isEmpty())
        text += QStringLiteral(" · ") + phase_;
    if (milliampereHours_)
        text += QStringLiteral(" · %1 mAh").arg(std::floor(*milliampereHours_));
    return text;
}
