// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "privatebus.h"

#include <QDBusUnixFileDescriptor>

#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

/// A login manager as far as the program knows it, on a bus of its own that stands for the system's.
class LoginManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    struct Inhibitor
    {
        QString what, mode;
        int pipe; ///< at its end once the inhibitor is given back

        bool IsHeld() const
        {
            pollfd state{pipe, POLLIN, 0};
            return poll(&state, 1, 0) == 0;
        }
    };
    ~LoginManager() override
    {
        for (const Inhibitor &inhibitor : inhibitors)
            close(inhibitor.pipe);
    }

    bool Start()
    {
        return bus_.Start(QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"), this);
    }
    QString Address() const { return bus_.Address(); }

    std::vector<Inhibitor> inhibitors;

public Q_SLOTS:
    QDBusUnixFileDescriptor Inhibit(const QString &what, const QString &, const QString &, const QString &mode)
    {
        int ends[2] = {-1, -1};
        [[maybe_unused]] const int made = pipe2(ends, O_CLOEXEC);
        inhibitors.push_back({what, mode, ends[0]});
        QDBusUnixFileDescriptor lock;
        lock.giveFileDescriptor(ends[1]);
        return lock;
    }

Q_SIGNALS:
    void PrepareForSleep(bool coming);

private:
    PrivateBus bus_;
};
