#include "activation.h"

#include <QGuiApplication>
#include <QWidget>
#include <QWindow>

#include <utility>

Activation::Activation(QWidget *window) : QObject(window), window_(window)
{
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, &Activation::FocusWindowChanged);
}

void Activation::Shown()
{
    showing_ = true;
    excused_ = false;
    Q_EMIT Activated();
}

void Activation::FocusWindowChanged(QWindow *focus)
{
    if (!focus)
        return;
    if (focus != window_->windowHandle()) {
        excused_ = focus->type() == Qt::Dialog || focus->type() == Qt::Popup || focus->type() == Qt::Sheet;
        return;
    }
    const bool excused = std::exchange(excused_, false);
    if (!std::exchange(showing_, false) && !excused)
        Q_EMIT Activated();
}
