// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/elidedlabel.h"

#include <QToolButton>
#include <QWidget>

/// The red strip at the foot of a window: what flows with nobody there to end it, with a button that cuts it, and that
/// no guard stands behind what is on. Out of sight while there is nothing to say.
class WarningStrip : public QWidget
{
    Q_OBJECT

public:
    WarningStrip(const QString &cutText, QWidget *parent);

    void Show(const QString &unwatched, bool guardMissing);
    /// The room that it needs to say that one thing flows, with its button.
    int UsualWidth() const;
    /// Whether something flows unwatched.
    bool Warns() const { return !text_->text().isEmpty(); }

Q_SIGNALS:
    /// The button was pressed.
    void Cut();

private:
    ElidedLabel *text_;
    QToolButton *cut_;
    ElidedLabel *guard_;
};
