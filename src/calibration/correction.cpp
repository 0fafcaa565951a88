// SPDX-License-Identifier: GPL-3.0-or-later
#include "correction.h"

#include "base/number.h"

namespace calibration {
double Correction(double count, double hundredths, const QString &where)
{
    return number::Int(number::Divide(1024 * count, hundredths, where));
}

double SettingScale(double setting, double hundredths, const QString &where)
{
    return number::Int(number::Divide(100 * setting, hundredths, where));
}

HiLo SplitHiLo(double value, const QString &where)
{
    const double high = number::Int(value / 256);
    return {number::ToByte(high, where), number::ToByte(value - 256 * high, where)};
}

HiLo SplitLowBits(double value)
{
    const double high = number::Int(value / 256);
    const auto lowBits = [](double part) { return static_cast<quint8>(static_cast<qint64>(part)); };
    return {lowBits(high), lowBits(value - 256 * high)};
}
} // namespace calibration
