// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/tone.h"

#include <QLabel>

/// A number to be read from across the room, below its caption and before its unit, as an instrument shows it.
class Figure : public QWidget
{
    Q_OBJECT

public:
    /// The number's name is that of the figure; the stroke beside it has the colour of its curve, if it has one.
    Figure(const QString &name, const QString &caption, const QString &unit, QWidget *parent,
           const QColor &stroke = {});

    /// Nothing is a dash.
    void Show(const QString &number = {});
    void SetTone(Tone tone) { ::SetTone(*number_, tone); }
    QLabel *Number() const { return number_; }

private:
    void paintEvent(QPaintEvent *event) override;

    QLabel *const number_;
    const QColor stroke_;
};
