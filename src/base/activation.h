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

    /// To be called when the window is shown: tells that activation at once, and no second time when the focus comes.
    void Shown();

Q_SIGNALS:
    void Activated();

private:
    void FocusWindowChanged(QWindow *focus);

    QWidget *window_;
    bool excused_ = false; ///< the focus comes back from a dialog or a menu
    bool showing_ = false; ///< the activation that goes with the showing is still to come
};
