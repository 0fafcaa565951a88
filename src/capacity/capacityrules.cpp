// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacityrules.h"

#include "base/number.h"

#include <algorithm>
#include <limits>

namespace capacity {
int Cycles(const QString &text)
{
    const double asked = number::Int(number::Val(text));
    return static_cast<int>(std::clamp(asked, 1.0, double(std::numeric_limits<int>::max())));
}

double CellVolts(double volts, double cells)
{
    return number::Int(number::Divide(volts * 100, cells, QStringLiteral("nombre d'éléments"))) / 100;
}

qint16 Resistance(double loadedVolts, double unloadedVolts)
{
    return number::ToInt16(number::Int(1000 * (unloadedVolts - loadedVolts)), QStringLiteral("résistance interne"));
}

double MilliampereHours(double ampereSeconds)
{
    return number::Int(ampereSeconds * 1000 / 3600);
}

QString Countdown(int k)
{
    return number::Str(pauseSeconds - k) + QStringLiteral("Pause ... ");
}

QString DurationText(qint64 seconds)
{
    return QStringLiteral("Durée de la phase : %1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

int LoweredOffset(int offset)
{
    return static_cast<int>(number::Int(offset - offset / 16.0));
}

bool DeltaFall::Add(int count)
{
    highest_ = std::max(highest_, count);
    return count < highest_ - fall;
}
} // namespace capacity
