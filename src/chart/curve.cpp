// SPDX-License-Identifier: GPL-3.0-or-later
#include "curve.h"

#include "base/tone.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {
constexpr qsizetype blockPoints = 16;
}

void Curve::Block::Add(double value)
{
    lowest = std::fmin(lowest, value); // a number wins over none
    highest = std::fmax(highest, value);
    gap = gap || std::isnan(value);
}

void Curve::Block::Add(const Block &other)
{
    lowest = std::fmin(lowest, other.lowest);
    highest = std::fmax(highest, other.highest);
    gap = gap || other.gap;
}

void Curve::PaintOn(const QColor &ground)
{
    setPen(Readable(colour_, ground, IsDark(ground) ? textContrast : lineContrast)); // thin lines fade on the dark
}

void Curve::Append(double key, double value)
{
    if (Points() % blockPoints == 0)
        blocks_.emplace_back();
    mDataContainer->add(QCPGraphData(key, value));
    blocks_.back().Add(value);
}

void Curve::ChangeValue(qsizetype point, double value)
{
    (mDataContainer->begin() + point)->value = value;
    Measure(point / blockPoints);
}

/// Its last block is filled up, so that no block is on both sides.
void Curve::Break(double key)
{
    do
        Append(key, qQNaN());
    while (Points() % blockPoints != 0);
}

void Curve::RemoveFrom(double key)
{
    mDataContainer->remove(key, std::numeric_limits<double>::infinity());
    const qsizetype blocks = (Points() + blockPoints - 1) / blockPoints;
    blocks_.resize(static_cast<size_t>(blocks));
    if (blocks > 0)
        Measure(blocks - 1);
}

std::optional<qsizetype> Curve::Nearest(double key) const
{
    if (Points() == 0)
        return std::nullopt;
    const auto first = mDataContainer->constBegin();
    const auto next = std::lower_bound(first, mDataContainer->constEnd(), key,
                                       [](const QCPGraphData &point, double wanted) { return point.key < wanted; });
    if (next == mDataContainer->constEnd())
        return Points() - 1;
    const bool former = next != first && key - (next - 1)->key < next->key - key;
    return next - first - (former ? 1 : 0);
}

void Curve::Measure(qsizetype block)
{
    Block extremes;
    const auto first = mDataContainer->constBegin() + block * blockPoints;
    const auto last = mDataContainer->constBegin() + std::min(Points(), (block + 1) * blockPoints);
    for (auto it = first; it != last; ++it)
        extremes.Add(it->value);
    blocks_[static_cast<size_t>(block)] = extremes;
}

std::optional<QCPRange> Curve::Extremes() const
{
    Block all;
    for (const Block &block : blocks_)
        all.Add(block);
    if (std::isnan(all.lowest))
        return std::nullopt;
    return QCPRange(all.lowest, all.highest);
}

/// Two points a pixel, the lowest and the highest value there; a pixel ends at a gap, and so does the line. The blocks
/// at both ends may reach beyond what is visible, which is cut off when it is painted.
void Curve::getOptimizedLineData(QVector<QCPGraphData> *lineData, const QCPGraphDataContainer::const_iterator &begin,
                                 const QCPGraphDataContainer::const_iterator &end) const
{
    const auto all = mDataContainer->constBegin();
    const qsizetype firstBlock = (begin - all) / blockPoints;
    const qsizetype blockCount = (end - all + blockPoints - 1) / blockPoints - firstBlock;
    const qsizetype pixels = std::max(1, keyAxis()->axisRect()->width());
    if (blockCount < pixels) {
        QCPGraph::getOptimizedLineData(lineData, begin, end);
        return;
    }
    const qsizetype step = blockCount / pixels;
    lineData->reserve(2 * (blockCount / step + 1));
    for (qsizetype block = firstBlock; block < firstBlock + blockCount;) {
        const double key = (all + block * blockPoints)->key;
        const qsizetype next = std::min(block + step, firstBlock + blockCount);
        Block extremes;
        while (block < next && !extremes.gap)
            extremes.Add(blocks_[static_cast<size_t>(block++)]);
        lineData->append(QCPGraphData(key, extremes.lowest));
        lineData->append(QCPGraphData(key, extremes.highest));
        if (extremes.gap)
            lineData->append(QCPGraphData(key, qQNaN()));
    }
}
