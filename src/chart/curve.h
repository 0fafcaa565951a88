// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "customplot.h"

#include <optional>
#include <vector>

/// One curve of a chart: a value, or none, for each key; the keys never fall. Drawing millions of points costs what the
/// pixels cost: the extremes of every few points are kept at hand.
class Curve : public QCPGraph
{
public:
    Curve(QCPAxis *keyAxis, QCPAxis *valueAxis) : QCPGraph(keyAxis, valueAxis) {}

    /// The colour of the curve on paper; on a ground it is that of the same hue which can be seen there.
    void SetColour(const QColor &colour) { colour_ = colour; }
    const QColor &Colour() const { return colour_; }
    void PaintOn(const QColor &ground);

    /// What stands behind a value; none for a bare count.
    void SetUnit(const QString &unit) { unit_ = unit; }
    const QString &Unit() const { return unit_; }

    qsizetype Points() const { return mDataContainer->size(); }
    /// Not a number for no value.
    void Append(double key, double value);
    void ChangeValue(qsizetype point, double value);
    /// What follows from this key on is not joined to what came before, however much is drawn in a pixel.
    void Break(double key);
    /// All points of that key and later ones.
    void RemoveFrom(double key);

    double KeyOf(qsizetype point) const { return (mDataContainer->constBegin() + point)->key; }
    double ValueOf(qsizetype point) const { return (mDataContainer->constBegin() + point)->value; }
    /// The point whose key is nearest; nothing when there is none.
    std::optional<qsizetype> Nearest(double key) const;
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
        bool gap = false; ///< a point without a value
        void Add(double value);
        void Add(const Block &other);
    };
    void Measure(qsizetype block);

    QColor colour_;
    QString unit_;
    std::vector<Block> blocks_;
};
