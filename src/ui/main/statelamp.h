// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/boardstate.h"

#include <QWidget>

/// What the board does, as a small drawing: each state has a shape of its own beside its colour, for whoever cannot
/// tell the colours apart. A square is rest, a triangle that points up a charge, one that points down a discharge, both
/// together are both, waves are a stream, and a ring with nothing in it is what is not known. Only the outline is
/// left of what is past.
class StateLamp : public QWidget
{
    Q_OBJECT

public:
    explicit StateLamp(QWidget *parent);

    void Show(BoardState::Doing what, bool past, bool unwatched);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    BoardState::Doing what_ = BoardState::Doing::Unknown;
    bool past_ = false;
    bool unwatched_ = false;
};
