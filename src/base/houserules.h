// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

/// How the controls of all windows answer, while it lives: the wheel changes nothing that has not the focus, Enter
/// presses the button that has it.
class HouseRules : public QObject
{
public:
    HouseRules();

    bool eventFilter(QObject *object, QEvent *event) override;
};
