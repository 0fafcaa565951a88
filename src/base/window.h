// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "errors.h"
#include "handlers.h"

#include <QAbstractButton>
#include <QMainWindow>

#include <functional>
#include <vector>

/// What all windows of the program have in common. A window lives as long as the program; opening it runs its Load on
/// fresh state. Handlers that talk to the board are coroutines, kept here until they end.
class Window : public QMainWindow
{
    Q_OBJECT

public:
    explicit Window(const QString &name);

    /// Loads and shows the window, if it may open; one that is open is only raised.
    void Open();

    /// Asked before a window opens that is not open; false keeps it closed for now. To be set by who keeps the windows.
    static inline std::function<bool(Window &)> opensNow;

    /// Called when an error in a window ends the program: switches off what is on, and returns what the user has to
    /// know of that. To be set by who keeps the windows.
    static inline std::function<QString(const Error &)> endsProgram;

    /// Puts the window in the middle of its screen.
    void Centre();

Q_SIGNALS:
    /// The user goes back to the main window.
    void Returning();

protected:
    /// Puts the window into the state in which it opens; its labels, boxes and sliders are as designed again.
    virtual void Load() = 0;

    /// Whether it may open now; tells the user if not.
    virtual bool MayOpen() { return true; }

    /// What the escape key does where no control has a use for it: it leaves the window.
    virtual void Escape() { close(); }
    void keyPressEvent(QKeyEvent *event) override;

    /// To be called once the controls are made: this is what they are designed like.
    void RememberDesign();

    /// What a handler of this window threw; shows it, and the program goes on.
    virtual void Failed(const Error &error);

    void Start(Task<void> handler) { handlers_.Start(std::move(handler)); }

    /// Runs a handler of the window at each click of the button.
    template <class W>
    void OnClick(QAbstractButton *button, Task<void> (W::*handler)())
    {
        connect(button, &QAbstractButton::clicked, this,
                [this, handler] { Start((static_cast<W *>(this)->*handler)()); });
    }

    /// For a window in which an error ends the program: nothing of it goes on, and the user sees which error it was.
    void EndProgram(const Error &error);

    /// Ends all handlers of this window where they wait.
    void DropHandlers() { handlers_.Drop(); }

private:
    Handlers handlers_;
    bool dressed_ = false;
    std::vector<std::function<void()>> design_; // each restores one control
};

/// A window as it is kept by others: its handlers end before anything goes that they use.
template <class W>
class Kept final : public W
{
public:
    using W::W;
    ~Kept() override { this->DropHandlers(); }
};
