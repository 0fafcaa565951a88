#include "seriesgraph.h"

#include <cmath>

namespace {
constexpr qsizetype blockRows = 16;
}

void SeriesGraph::Block::Add(double value)
{
    lowest = std::fmin(lowest, value); // a number wins over none
    highest = std::fmax(highest, value);
}

void SeriesGraph::Block::Add(const Block &other)
{
    lowest = std::fmin(lowest, other.lowest);
    highest = std::fmax(highest, other.highest);
}

void SeriesGraph::SetRowCount(qsizetype rows)
{
    if (rows < Rows())
        mDataContainer->removeAfter(static_cast<double>(rows));
    while (Rows() < rows)
        mDataContainer->add(QCPGraphData(static_cast<double>(Rows() + 1), qQNaN()));
    const qsizetype blocks = (rows + blockRows - 1) / blockRows;
    blocks_.resize(static_cast<size_t>(blocks));
    if (blocks > 0)
        Measure(blocks - 1);
}

void SeriesGraph::SetValue(qsizetype row, double value)
{
    if (row < 1 || row > Rows())
        return;
    (mDataContainer->begin() + (row - 1))->value = value;
    Measure((row - 1) / blockRows);
}

double SeriesGraph::Value(qsizetype row) const
{
    return row < 1 || row > Rows() ? qQNaN() : (mDataContainer->constBegin() + (row - 1))->value;
}

void SeriesGraph::Measure(qsizetype block)
{
    Block extremes;
    const auto first = mDataContainer->constBegin() + block * blockRows;
    const auto last = mDataContainer->constBegin() + std::min(Rows(), (block + 1) * blockRows);
    for (auto it = first; it != last; ++it)
        extremes.Add(it->value);
    blocks_[static_cast<size_t>(block)] = extremes;
}

std::optional<QCPRange> SeriesGraph::Extremes() const
{
    Block all;
    for (const Block &block : blocks_)
        all.Add(block);
    if (std::isnan(all.lowest))
        return std::nullopt;
    return QCPRange(all.lowest, all.highest);
}

/// Two points a pixel, the lowest and the highest value there. The blocks at both ends may reach beyond what is
/// visible, which is cut off when it is painted.
void SeriesGraph::getOptimizedLineData(QVector<QCPGraphData> *lineData,
                                       const QCPGraphDataContainer::const_iterator &begin,
                                       const QCPGraphDataContainer::const_iterator &end) const
{
    const auto all = mDataContainer->constBegin();
    const qsizetype firstBlock = (begin - all) / blockRows;
    const qsizetype blockCount = (end - all + blockRows - 1) / blockRows - firstBlock;
    const qsizetype pixels = std::max(1, keyAxis()->axisRect()->width());
    if (blockCount < pixels) {
        QCPGraph::getOptimizedLineData(lineData, begin, end);
        return;
    }
    const qsizetype step = blockCount / pixels;
    lineData->reserve(2 * (blockCount / step + 1));
    for (qsizetype block = firstBlock; block < firstBlock + blockCount; block += step) {
        Block extremes;
        const qsizetype next = std::min(block + step, firstBlock + blockCount);
        for (qsizetype i = block; i < next; ++i)
            extremes.Add(blocks_[static_cast<size_t>(i)]);
        const double key = static_cast<double>(block * blockRows + 1);
        lineData->append(QCPGraphData(key, extremes.lowest));
        lineData->append(QCPGraphData(key, extremes.highest));
    }
}
