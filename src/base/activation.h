// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

class QWidget;
class QWindow;

/// Tells when the user comes to a window. Coming back from a dialog, a menu or a message box is no activation, and the
/// first showing is one even where the window system does not say so.
class Activation : public QObject
{
    Q_OBJECT

public:
    explicit Activation(QWidget *window);

    /// To be called while the window opens: its showing, which comes next, is told as an activation.
    void Opening() { opening_ = true; }

    /// To be called when the window is shown already: tells that as an activation at once.
    void Shown();

Q_SIGNALS:
    void Activated();

private:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void FocusWindowChanged(QWindow *focus);

    QWidget *window_;
    bool excused_ = false; ///< the focus comes back from a dialog or a menu
    bool opening_ = false;
    bool showing_ = false; ///< the focus that goes with the showing is still to come
};
