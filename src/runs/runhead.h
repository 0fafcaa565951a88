// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runnews.h"

#include <QFrame>

class RunTiles;

/// The head of a run window: what the run measures, and in the same place, once it is over, what it was. Nothing of the
/// window moves when one takes the place of the other.
class RunHead : public QFrame
{
    Q_OBJECT

public:
    explicit RunHead(QWidget *parent);

    /// To be called once.
    void Watch(const RunNews &news);

    /// What is measured, once it is watched.
    QList<QWidget *> Readings() const;

private:
    void showEvent(QShowEvent *event) override;

    RunTiles *tiles_ = nullptr;
};
