// SPDX-License-Identifier: GPL-3.0-or-later
#include "activation.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWidget>
#include <QWindow>

#include <utility>

Activation::Activation(QWidget *window) : QObject(window), window_(window)
{
    window->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, &Activation::FocusWindowChanged);
}

void Activation::Shown()
{
    showing_ = true;
    excused_ = false;
    Q_EMIT Activated();
}

bool Activation::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Show && std::exchange(opening_, false))
        Shown();
    return QObject::eventFilter(watched, event);
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
