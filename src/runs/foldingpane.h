// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QMainWindow;
class QToolButton;

/// A pane to the right of what a window holds, which keeps its place and size. The user folds it away and back with a
/// button; how he leaves it is remembered of the window. A folded window is as it would be without the pane.
class FoldingPane : public QWidget
{
    Q_OBJECT

public:
    /// What the pane shows takes its place in the window; the button of that caption stands on the title line of a
    /// frame.
    FoldingPane(QMainWindow &window, QWidget *content, QWidget *frame, const QString &caption);

    /// Folds the pane or not as it was left, before its window is shown. Nobody having said so, it is not folded where
    /// the screen has room for it.
    void Recall();

private:
    void Show(bool shown);
    void Fold(bool shown);
    int OpeningWidth() const;
    void KeepOnScreen();
    bool eventFilter(QObject *object, QEvent *event) override;

    QMainWindow &window_;
    QWidget *controls_; ///< what the window held before
    QToolButton *button_;
};
