// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runprogress.h"

/// Tells the user's desktop that a run has ended by its rule, for a cause or by an error, through its notification
/// service (org.freedesktop.Notifications); where there is none, nothing happens. What the user has done himself is no
/// news to him.
class RunNotice : public QObject
{
    Q_OBJECT

public:
    RunNotice(const RunProgress &progress, QObject *parent);

private:
    void Tell(const RunEnd &end);

    const RunProgress &progress_;
};
