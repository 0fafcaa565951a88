// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTest>

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

/// Gives the open message box that has it this answer.
inline void AnswerBox(const QString &answer)
{
    for (const QMessageBox *box : OpenBoxes())
        for (QAbstractButton *button : box->buttons())
            if (button->text() == answer) {
                button->click();
                return;
            }
    QFAIL("there is no such answer");
}

/// What the message boxes say that are open.
inline QStringList BoxTexts()
{
    QStringList texts;
    for (const QMessageBox *box : OpenBoxes())
        texts.append(box->text());
    return texts;
}
