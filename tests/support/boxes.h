// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>

/// The message boxes that are open.
inline QList<QMessageBox *> OpenBoxes()
{
    QList<QMessageBox *> boxes;
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
            boxes.append(box);
    return boxes;
}

/// Presses the first button of every open message box.
inline void AnswerBoxes()
{
    for (QMessageBox *box : OpenBoxes())
        box->buttons().constFirst()->click();
}

/// What the message boxes say that are open.
inline QStringList BoxTexts()
{
    QStringList texts;
    for (const QMessageBox *box : OpenBoxes())
        texts.append(box->text());
    return texts;
}
