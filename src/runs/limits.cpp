// SPDX-License-Identifier: GPL-3.0-or-later
#include "limits.h"

#include "base/timer.h"

#include <cmath>

namespace {
constexpr double minute = 60;
} // namespace

QString Limits::Reached(const Progress &progress) const
{
    const auto cause = [](const QString &what, double value, const QString &unit, int limit) {
        return QStringLiteral("%1%2 %3 (limite %4 %3)")
            .arg(what)
            .arg(std::floor(value), 0, 'f', 0)
            .arg(unit)
            .arg(limit);
    };
    if (temperature && progress.temperature && *progress.temperature >= *temperature)
        return cause(QStringLiteral("température "), *progress.temperature, QStringLiteral("°C"), *temperature);
    if (minutes && progress.seconds >= *minutes * minute)
        return cause(QStringLiteral("durée "), progress.seconds / minute, QStringLiteral("min"), *minutes);
    if (milliampereHours && progress.milliampereHours >= *milliampereHours)
        return cause({}, progress.milliampereHours, QStringLiteral("mAh"), *milliampereHours);
    return {};
}

void Flow::Add(double amperes)
{
    milliampereSeconds_ += Timer::Seconds(part_) * 1000 * amperes;
    part_.Restart();
}

double Flow::Seconds() const
{
    return Timer::Seconds(whole_);
}

double Flow::MilliampereHours() const
{
    return milliampereSeconds_ / 3600;
}
