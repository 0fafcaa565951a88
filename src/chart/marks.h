// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/tone.h"
#include "customplot.h"

#include <optional>

/// Keys from one on that belong together, a phase for instance: a coloured band behind the curves, with its name where
/// there is room for it.
class Band : public QCPAbstractItem
{
public:
    Band(QCustomPlot *plot, double from, const QString &name, const QColor &colour);

    double From() const { return from_; }
    const QString &Name() const { return name_; }
    /// Where it ends; nothing while it goes on.
    const std::optional<double> &To() const { return to_; }
    void End(double key) { to_ = key; }
    void PaintOn(const QColor &ground);
    bool Has(double key) const { return key >= from_ && (!to_ || key < *to_); }

    double selectTest(const QPointF &, bool, QVariant *) const override { return -1; }

protected:
    void draw(QCPPainter *painter) override;

private:
    double from_;
    std::optional<double> to_;
    QString name_;
    QColor colour_; ///< on paper
    QColor fill_;
    QColor ink_;
};

/// A line across the chart at a value of an axis, with its name; unseen until it has a value.
class Level : public QCPAbstractItem
{
public:
    Level(QCPAxis *axis, const QString &name, const QColor &colour);

    QCPAxis *Axis() const { return axis_; }
    const QString &Name() const { return name_; }
    const std::optional<double> &Value() const { return value_; }
    /// The chart has to be told that it has changed.
    void Set(double value) { value_ = value; }
    void PaintOn(const QColor &ground) { ink_ = Readable(colour_, ground, textContrast); }

    double selectTest(const QPointF &, bool, QVariant *) const override { return -1; }

protected:
    void draw(QCPPainter *painter) override;

private:
    QCPAxis *axis_;
    QString name_;
    QColor colour_; ///< on paper
    QColor ink_;
    std::optional<double> value_;
};
