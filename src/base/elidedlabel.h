// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>

/// A line of text that makes room for whatever stands beside it, and shows an ellipsis then. All of it is in its tool
/// tip.
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget *parent, Qt::TextElideMode mode = Qt::ElideRight) : QLabel(parent), mode_(mode) {}

    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    const Qt::TextElideMode mode_;
};
