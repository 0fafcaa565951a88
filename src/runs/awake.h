// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <QDBusPendingCallWatcher>
#include <QDBusUnixFileDescriptor>
#include <QObject>

/// Keeps the system from going to sleep of its own accord while it is held, and holds it up for a moment when somebody
/// sends it to sleep all the same, through the login manager of Linux desktops (org.freedesktop.login1 Inhibit); where
/// there is none, nothing happens.
class Awake : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    void Hold();
    /// The system may sleep a moment later: until then what an end sends has left.
    void Release();

    /// What a run says that is ended because of it.
    static inline const QString sleepComing = QStringLiteral("mise en veille");
    static inline const QString slept = QStringLiteral("retour de veille");

Q_SIGNALS:
    /// While it is held: the system is about to sleep, and waits until it is released.
    void SleepComing();

private Q_SLOTS:
    void PrepareForSleep(bool coming);

private:
    using Lock = QDBusUnixFileDescriptor; ///< given back when it is closed

    void Inhibit(const QString &what, const QString &mode, Lock &lock);
    void GiveBack();

    bool held_ = false;
    bool listening_ = false;
    Lock idle_;
    Lock delay_;
    Alarm giveBack_{[this] { GiveBack(); }};
};
