// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/tone.h"
#include "runnews.h"

#include <QWidget>

/// The lamp beside a run window's state, which says by its shape as well as by its colour what the state's word says: a
/// ring at rest, a disc while a run is on, a tick when it has ended by its rule, a square after a stop, a triangle
/// after anything else. The word has the same colour.
class RunLamp : public QWidget
{
    Q_OBJECT

public:
    enum class Shape
    {
        Ring,
        Disc,
        Tick,
        Square,
        Triangle
    };

    explicit RunLamp(QWidget *parent);

    /// The runs, and the widget that shows the state's word. To be called once.
    void Watch(const RunNews &news, QWidget &word);

    Shape Shown() const { return shape_; }

private:
    void Show(Shape shape, Tone tone);
    void End(const RunEnd &end);
    void showEvent(QShowEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    QSize sizeHint() const override;

    const RunNews *news_ = nullptr;
    QWidget *word_ = nullptr;
    Shape shape_ = Shape::Ring;
    Tone tone_ = Tone::Plain;
};
