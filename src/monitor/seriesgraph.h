#pragma once

#include "customplot.h"

#include <optional>
#include <vector>

/// One curve of the chart: a value, or none, for each row; the first row is 1. Drawing millions of rows costs what the
/// pixels cost: the extremes of every few rows are kept at hand.
class SeriesGraph : public QCPGraph
{
public:
    SeriesGraph(QCPAxis *keyAxis, QCPAxis *valueAxis) : QCPGraph(keyAxis, valueAxis) {}

    qsizetype Rows() const { return mDataContainer->size(); }
    void SetRowCount(qsizetype rows);
    void SetValue(qsizetype row, double value);
    /// Not a number where there is no value.
    double Value(qsizetype row) const;

    /// Lowest and highest value; nothing when there are none.
    std::optional<QCPRange> Extremes() const;

protected:
    void getOptimizedLineData(QVector<QCPGraphData> *lineData, const QCPGraphDataContainer::const_iterator &begin,
                              const QCPGraphDataContainer::const_iterator &end) const override;

private:
    struct Block
    {
        double lowest = qQNaN();
        double highest = qQNaN();
        void Add(double value);
        void Add(const Block &other);
    };
    void Measure(qsizetype block);

    std::vector<Block> blocks_;
};
