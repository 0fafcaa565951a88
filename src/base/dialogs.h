// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "task.h"

#include <QFileDialog>
#include <QMessageBox>

/// Questions to the user that a handler waits for, while everything else in the program goes on.
namespace dialogs {
/// A question with "Oui" and "Non", which Enter means. `about` says below it which thing it is about; the first line of
/// `detail` is shown, too, all of it on demand. True for yes.
Task<bool> Confirm(QWidget *over, QMessageBox::Icon icon, QString title, QString text, QString about = {},
                   QString detail = {});

/// What a file dialog is opened with. `filter` is of the form "Hex8 (*.HEX);;All (*)".
struct FileQuestion
{
    QFileDialog::AcceptMode mode;
    QString title;
    QString filter;
    QString folder;      ///< the nearest one above it that exists, if it does not
    QString suffix = {}; ///< is given to a name that is typed without one to save under
};

/// The file dialog of a window, "CommonDialog1". It is made when it is first asked for, which takes its time: to be
/// done when the window opens, not when the program starts.
QFileDialog *CommonDialog(QWidget *window);

/// Opens the window's file dialog with an empty file name; the path that was chosen, empty when the user cancels. A
/// file that would be replaced is asked for; one to be read need not exist.
Task<QString> ChooseFile(QFileDialog *dialog, FileQuestion question);
} // namespace dialogs
