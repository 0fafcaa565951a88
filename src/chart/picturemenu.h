// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/errors.h"
#include "chart.h"

#include <functional>

/// Asks under which name to save what stands for a log, "Courbe" for none, and calls `save` with the path. What it
/// throws goes to `failed`.
struct SaveQuestion
{
    QString title;
    QString log; ///< its path, from which the name is taken that is proposed
    QString suffix;
    QString filter;
    std::function<void(const QString &path)> save;
    std::function<void(const Error &)> failed;
};
void AskWhereToSave(QWidget *window, const SaveQuestion &question);

/// Gives a chart its menu: everything in view, the picture as PNG or PDF, named after the log that `log` gives.
void AddPictureMenu(Chart &chart, const std::function<QString()> &log,
                    const std::function<void(const Error &)> &failed);
