// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

class QWidget;

/// Remembers where a window is and how large, each time that it is closed.
class Place : public QObject
{
public:
    /// Its window must have its name, which what is remembered is found by.
    explicit Place(QWidget &window);

    /// Puts the window, which is not shown yet, where it was last, as far as there is a screen now; false when nothing
    /// is remembered.
    bool Restore();

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    QWidget &window_;
};
