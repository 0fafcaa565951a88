#include "awake.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>

void Awake::Hold()
{
    if (std::exchange(held_, true))
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep:idle") << QStringLiteral("Voltaire")
         << QStringLiteral("Une batterie est sous la surveillance du programme") << QStringLiteral("block");
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return;
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
        watcher->deleteLater();
        if (held_ && !reply.isError())
            lock_ = reply.value();
    });
}

void Awake::Release()
{
    held_ = false;
    lock_ = QDBusUnixFileDescriptor();
}
