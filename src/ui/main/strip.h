// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/boardstate.h"
#include "link/freshness.h"
#include "linkstatus.h"
#include "statelamp.h"
#include "warningstrip.h"

#include <QMainWindow>
#include <QToolButton>

/// The line at the foot of every window: what the board is doing, what is watched, how old the window's readings are,
/// port and connection; in red what must not be missed, and an "Arret" for a run that is on in another window. It has
/// its place whether there is anything to say or not, and never widens its window: what matters less makes room.
class Strip : public QWidget
{
    Q_OBJECT

public:
    /// At the foot of `window`; `cutText` is the caption of the button that cuts what flows unwatched.
    Strip(const Codebas &link, const BoardState &board, const QString &cutText, QMainWindow &window);

    /// What flows with nobody there to end it, and whether no guard stands behind what is on.
    void ShowWarnings(const QString &unwatched, bool guardMissing);

    /// Which run is on in another window; none when the text is empty.
    void ShowRun(const QString &text);

    /// A lasting word on the board, beside its port; none when it is empty.
    void SetNote(const QString &note);

    /// The window itself says what to look at while the board is silent.
    void LeaveAdvice() { advises_ = false; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// What flows unwatched is to be cut.
    void Cut();
    /// The run of the other window is to be stopped.
    void Stop();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Part
    {
        QWidget *widget;
        bool wanted;
    };

    void ShowBoard();
    void ShowWatched();
    void Arrange();
    std::vector<Part> Parts() const;

    const Codebas &link_;
    const BoardState &board_;
    const Freshness *const freshness_; ///< of the window, if it shows readings
    StateLamp *const lamp_;
    ElidedLabel *const does_;
    ElidedLabel *const run_;
    QToolButton *const stop_;
    WarningStrip *const warnings_;
    ElidedLabel *const silence_;
    ElidedLabel *const readings_;
    ElidedLabel *const watched_;
    LinkStatus *const port_;
    ElidedLabel *const note_;
    bool advises_ = true;
    bool spoken_ = false; ///< the status bar has a passing word
};
