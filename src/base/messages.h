// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMessageBox>

#include <functional>

/// What the program has to tell its user beside the windows' own texts. No box ever holds up the program.
namespace messages {
/// For runs that nobody watches: texts go to standard error instead of into boxes, and `end` ends the program with
/// status 1.
void UseConsole(std::function<void()> end);

/// Shows a message box with one button, and `hint` in small letters below the text; while a box with the same text is
/// open, nothing more.
void Show(QWidget *over, QMessageBox::Icon icon, const QString &title, const QString &text, const QString &hint = {});

/// Asks a question with these answers, the last of which is also that of the close box; `answered` is told the number
/// of the answer. Null for runs that nobody watches: nobody would answer.
QMessageBox *Ask(QWidget *over, const QString &title, const QString &text, const QStringList &answers,
                 std::function<void(int)> answered);

/// Names an error that ends the program, and ends it with status 1 as soon as the user has seen it.
void ShowAndEnd(QWidget *over, const QString &title, const QString &text, const QString &hint = {});
} // namespace messages
