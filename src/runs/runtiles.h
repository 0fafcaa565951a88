// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "figure.h"
#include "runnews.h"

/// What a run measures right now, in large: volts, amperes (a discharge's are negative), milliampere-hours of the phase
/// at hand, °C. They are grey as soon as they are those of a phase, or a run, that is over.
class RunTiles : public QWidget
{
    Q_OBJECT

public:
    RunTiles(const RunNews &news, QWidget *parent);

    /// Nothing is measured.
    void Clear();

    /// The numbers.
    QList<QWidget *> Readings() const;

private:
    void Take(const RunPoint &point);
    void SetTone(Tone tone);

    Figure *const volts_, *const amperes_, *const capacity_, *const temperature_;
};
