// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/codebas.h"

#include <QFile>

/// A file that is there while something is on that this program has switched: a later start that finds it knows that
/// this one has ended without ending that. It lies in the drive's "temp" and is locked while its program lives.
class RunMark : public QObject
{
    Q_OBJECT

public:
    explicit RunMark(const Codebas &link);

    /// What an earlier program has left on.
    struct Found
    {
        QString port;
        QString note; ///< where its guard tells what it did; empty when the user has left it on
    };
    /// The marks of programs that live no more; they are gone then.
    static std::vector<Found> TakeFound();

private:
    void Follow();

    const Codebas &link_;
    QFile file_;
    QByteArray written_;
};
