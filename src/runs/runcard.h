// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "figure.h"
#include "runsum.h"

class QToolButton;

/// What a run was, once it is over: how long, what has flowed, its highest temperature, a capacity measurement's
/// resistance, what has ended it, and where its log is.
class RunCard : public QWidget
{
    Q_OBJECT

public:
    RunCard(const RunNews &news, QWidget *parent);

Q_SIGNALS:
    /// The run is over: there is something to see.
    void Filled();
    /// The user has seen it.
    void Closed();

private:
    void Fill(const RunEnd &end);
    void OpenFolder();

    const RunNews &news_;
    RunSum sum_;
    bool currentKnown_ = false; ///< at some point of the run
    Figure *const duration_, *const capacity_, *const temperature_;
    Figure *resistance_ = nullptr; ///< where one is measured
    QLabel *const cause_, *const why_, *const log_;
    QToolButton *const folder_;
};
