// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "privatebus.h"

#include <QVariantMap>

#include <vector>

/// A desktop's notification service, on a bus of its own that stands for the session's.
class Notifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Shown
    {
        QString application, summary, body;
        int urgency; ///< 0 low, 1 normal, 2 critical
    };

    bool Start()
    {
        return bus_.Start(QStringLiteral("org.freedesktop.Notifications"),
                          QStringLiteral("/org/freedesktop/Notifications"), this);
    }
    QString Address() const { return bus_.Address(); }

    std::vector<Shown> shown;

public Q_SLOTS:
    uint Notify(const QString &application, uint, const QString &, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &hints, int)
    {
        shown.push_back({application, summary, body, hints.value(QStringLiteral("urgency")).toInt()});
        return static_cast<uint>(shown.size());
    }

private:
    PrivateBus bus_;
};
