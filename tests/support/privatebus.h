// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDBusConnection>
#include <QProcess>

/// A message bus of a test's own, with a service on it that the test plays.
class PrivateBus
{
public:
    PrivateBus() = default;
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;
    ~PrivateBus()
    {
        QDBusConnection::disconnectFromBus(connectionName);
        daemon_.terminate();
        daemon_.waitForFinished();
    }

    /// True when the bus is there and `object` is served on it.
    bool Start(const QString &service, const QString &path, QObject *object)
    {
        daemon_.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        if (!daemon_.waitForReadyRead())
            return false;
        address_ = QString::fromLatin1(daemon_.readLine().trimmed());
        QDBusConnection own = QDBusConnection::connectToBus(address_, connectionName);
        return own.registerService(service) &&
               own.registerObject(path, object, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
    }
    const QString &Address() const { return address_; }

private:
    static inline const QString connectionName = QStringLiteral("service");
    QString address_;
    QProcess daemon_;
};
