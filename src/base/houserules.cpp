// SPDX-License-Identifier: GPL-3.0-or-later
#include "houserules.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QKeyEvent>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>

namespace {
/// What the wheel would change.
QWidget *Setting(QObject *object)
{
    if (qobject_cast<QSlider *>(object) || qobject_cast<QAbstractSpinBox *>(object) ||
        qobject_cast<QComboBox *>(object))
        return static_cast<QWidget *>(object);
    return nullptr;
}

/// In a dialog a button has its own ways with Enter.
bool Presses(QObject *object, const QKeyEvent &key)
{
    if ((key.key() != Qt::Key_Return && key.key() != Qt::Key_Enter) || key.isAutoRepeat())
        return false;
    if (!qobject_cast<QPushButton *>(object) && !qobject_cast<QToolButton *>(object))
        return false;
    auto *button = static_cast<QAbstractButton *>(object);
    if (qobject_cast<QDialog *>(button->window()))
        return false;
    button->click();
    return true;
}
} // namespace

HouseRules::HouseRules()
{
    qApp->installEventFilter(this);
}

bool HouseRules::eventFilter(QObject *object, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Polish:
        if (QWidget *setting = Setting(object); setting && setting->focusPolicy() == Qt::WheelFocus)
            setting->setFocusPolicy(Qt::StrongFocus); // the wheel gives nobody the focus either
        return false;
    case QEvent::Wheel:
        if (const QWidget *setting = Setting(object); setting && !setting->hasFocus()) {
            event->ignore(); // so that what is around it may scroll
            return true;
        }
        return false;
    case QEvent::KeyPress:
        return Presses(object, *static_cast<QKeyEvent *>(event));
    default:
        return false;
    }
}
