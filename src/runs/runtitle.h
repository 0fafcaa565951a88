// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runprogress.h"

#include <QList>

/// Says in the title bars of windows what a run does while it is on: "CHARGE 01:12 · 1480 mAh".
class RunTitle : public QObject
{
    Q_OBJECT

public:
    RunTitle(const RunProgress &progress, QList<QWidget *> windows, QObject *parent);

private:
    void Say(const QString &text);

    const QList<QWidget *> windows_;
};
