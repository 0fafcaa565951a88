// SPDX-License-Identifier: GPL-3.0-or-later
#include "wayout.h"

#include <QGuiApplication>

#include <cstdio>

namespace {
constexpr int bySignal = 128;         // as a shell reports a program that a signal ended: this and its number
constexpr auto patience = 10s;        // for the board to confirm that it is off
constexpr auto alarmPatience = 10min; // the same where nobody has asked the program to end
} // namespace

WayOut::WayOut(Main &main) : main_(main), outputs_(main.Link().outputs)
{
    connect(&interrupt_, &Interrupt::Received, this, &WayOut::Interrupted);
    connect(&outputs_, &Outputs::WatchedChanged, this, &WayOut::LookWhetherOff);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &WayOut::SessionEnds);
}

void WayOut::Take(int status)
{
    if (!status_)
        status_ = status;
    if (!patience_.IsSet())
        patience_.Start(patience);
    LookWhetherOff();
}

void WayOut::TakeAfterAlarm()
{
    Warn();
    patience_.Start(alarmPatience);
    Take(failed);
}

void WayOut::SessionEnds()
{
    main_.StopAll(QStringLiteral("fin de session"));
}

/// The first signal stops what is on. Another one does not wait for the board's answers.
void WayOut::Interrupted(int signal)
{
    if (std::exchange(interrupted_, true)) {
        outputs_.EndWatchedNow();
        Leave();
        return;
    }
    status_ = bySignal + signal;
    patience_.Start(patience);
    main_.StopAll(QStringLiteral("signal ") + Interrupt::Name(signal));
    LookWhetherOff();
}

void WayOut::LookWhetherOff()
{
    if (status_ && IsOff())
        Leave();
}

void WayOut::Warn() const
{
    const QString &what = outputs_.WhatIsWatched().what;
    std::fprintf(stderr,
                 "Arrêt non confirmé : la carte %s peut-être encore. En cas de doute, débranchez la batterie.\n",
                 what.isEmpty() ? "charge ou décharge" : qUtf8Printable(what));
}

void WayOut::Leave()
{
    patience_.Stop();
    if (std::exchange(left_, true))
        return;
    if (!IsOff()) {
        Warn();
        if (status_ != failed)
            status_ = unconfirmed;
    }
    Q_EMIT Left(*status_);
}
