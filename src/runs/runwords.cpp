// SPDX-License-Identifier: GPL-3.0-or-later
#include "runwords.h"

#include <cmath>

namespace runwords {
namespace {
constexpr int minute = 60;
constexpr int hour = 60 * minute;

QString Said(RunEnd::How how)
{
    switch (how) {
    case RunEnd::How::Rule:
        return QStringLiteral("terminée");
    case RunEnd::How::Stop:
    case RunEnd::How::Cause:
        return QStringLiteral("arrêtée");
    case RunEnd::How::Error:
        return QStringLiteral("interrompue");
    case RunEnd::How::Left:
        return QStringLiteral("laissée");
    case RunEnd::How::Restart:
        return QStringLiteral("recommencée");
    }
    return {};
}
} // namespace

QString Name(RunNews::Kind kind)
{
    switch (kind) {
    case RunNews::Kind::Charge:
        return QStringLiteral("Charge");
    case RunNews::Kind::Discharge:
        return QStringLiteral("Décharge");
    case RunNews::Kind::Capacity:
        return QStringLiteral("Mesure de capacité");
    }
    return {};
}

QString Ended(RunNews::Kind kind, RunEnd::How how)
{
    return Name(kind) + u' ' + Said(how);
}

QString Duration(double seconds)
{
    const auto whole = static_cast<int>(seconds);
    if (whole >= hour)
        return QStringLiteral("%1 h %2").arg(whole / hour).arg(whole % hour / minute, 2, 10, QLatin1Char('0'));
    return whole >= minute ? QStringLiteral("%1 min").arg(whole / minute) : QStringLiteral("%1 s").arg(whole);
}

QString Capacity(double milliampereHours)
{
    return QStringLiteral("%1 mAh").arg(std::floor(milliampereHours), 0, 'f', 0);
}
} // namespace runwords
