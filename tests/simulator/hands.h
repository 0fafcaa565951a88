// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "act.h"
#include "dice.h"

#include <QDir>
#include <QStringList>

class QWidget;

/// The hands of the operator: what is within their reach on the screen, and what they do with it. Everything goes by
/// name, so that what was done once can be done again.
class Hands
{
public:
    /// `files`: what file dialogs are answered with, in `folder`.
    Hands(const QString &folder, QStringList files) : folder_(folder), files_(std::move(files)) {}

    /// Something that can be done now, anywhere or, if a window is given, on the way to it and in it.
    Act Choose(Dice &dice, const QString &window) const;

    /// Does it; nothing when that is not within reach at the moment.
    void Do(const Act &act) const;

    /// Closes all message boxes and file dialogs, as one who has had enough.
    static void DismissBoxes();
    /// The window of that name, if it is in sight.
    static QWidget *Visible(const QString &window);
    /// The program's windows that are in sight, by name.
    static QList<QWidget *> Windows();

private:
    QDir folder_;
    QStringList files_;
};
