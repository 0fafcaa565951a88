// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "customplot.h"

#include <algorithm>

/// For an axis of whole numbers: no ticks between them.
namespace wholeticker {
class Ticker : public QCPAxisTicker
{
protected:
    double getTickStep(const QCPRange &range) override { return std::max(1.0, QCPAxisTicker::getTickStep(range)); }
    int getSubTickCount(double step) override { return step < 2 ? 0 : QCPAxisTicker::getSubTickCount(step); }
};

inline void Use(QCPAxis *axis)
{
    axis->setTicker(QSharedPointer<QCPAxisTicker>(new Ticker));
    axis->setNumberFormat(QStringLiteral("f"));
    axis->setNumberPrecision(0);
}
} // namespace wholeticker
