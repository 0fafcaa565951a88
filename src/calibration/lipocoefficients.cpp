// SPDX-License-Identifier: GPL-3.0-or-later
#include "lipocoefficients.h"

#include "base/number.h"

namespace lipo {
namespace {
constexpr double microvolts = 1000000;

double Slope(const Point &one, const Point &other)
{
    const QString where = QStringLiteral("deux points LIPO ont la même valeur CAD (%1)").arg(one.count);
    return number::Int(number::Divide(one.volts - other.volts, one.count - other.count, where) * microvolts);
}

bool FitsTwoBytes(double value)
{
    return value >= 0 && value <= 65535;
}
} // namespace

std::array<double, pointCount> References(int cells)
{
    std::array<double, pointCount> volts = {4.4, 4.2, 4.1, 3.0, 2.7};
    for (double &reference : volts)
        reference *= cells;
    return volts;
}

std::array<QString, pointCount> Captions(int cells)
{
    // Three cells: "12,2 V" is what has always stood on the button whose reference is 12.3 V.
    static constexpr const char *captions[mostCells][pointCount] = {
        {"4,4 V", "4,2 V", "4,1 V", "3,0 V", "2,7 V"},
        {"8,8 V", "8,4 V", "8,2 V", "6,0 V", "5,4 V"},
        {"13,2 V", "12,6 V", "12,2 V", "9,0 V", "8,1 V"},
        {"17,6 V", "16,8 V", "16,4 V", "12,0 V", "10,8 V"},
    };
    std::array<QString, pointCount> texts;
    for (size_t i = 0; i < texts.size(); ++i)
        texts[i] = QString::fromLatin1(captions[cells - 1][i]);
    return texts;
}

Coefficients Compute(Table &points)
{
    constexpr size_t last = pointCount - 1;
    double gains = 0;
    for (size_t k = 0; k < points.size(); ++k) {
        points[k].gain = k < last ? Slope(points[k], points[k + 1]) : Slope(points[0], points[last]);
        gains += points[k].gain;
    }
    const double gain = number::Int(gains / pointCount);

    double offsets = 0; // without the lowest point, which the amplifier no longer follows well
    for (size_t k = 0; k < last; ++k) {
        points[k].offset = number::Int((points[k].volts * microvolts - points[k].count * gain) / 1000);
        offsets += points[k].offset;
    }
    return {gain, number::Int(offsets / last)};
}

bool FitTwoBytes(const Coefficients &coefficients)
{
    return FitsTwoBytes(coefficients.gain) && FitsTwoBytes(coefficients.offset);
}
} // namespace lipo
