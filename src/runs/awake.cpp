// SPDX-License-Identifier: GPL-3.0-or-later
#include "awake.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>

namespace {
const QString service = QStringLiteral("org.freedesktop.login1");
const QString path = QStringLiteral("/org/freedesktop/login1");
const QString manager = QStringLiteral("org.freedesktop.login1.Manager");

// The stop's writes and what confirms them take less; the manager waits for five seconds by default.
constexpr auto moment = 2s;
} // namespace

void Awake::Hold()
{
    giveBack_.Stop();
    if (std::exchange(held_, true))
        return;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return;
    if (!listening_)
        listening_ =
            bus.connect(service, path, manager, QStringLiteral("PrepareForSleep"), this, SLOT(PrepareForSleep(bool)));
    Inhibit(QStringLiteral("sleep:idle"), QStringLiteral("block"), idle_);
    Inhibit(QStringLiteral("sleep"), QStringLiteral("delay"), delay_);
}

void Awake::Inhibit(const QString &what, const QString &mode, Lock &lock)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, manager, QStringLiteral("Inhibit"));
    call << what << QStringLiteral("Voltaire") << QStringLiteral("Une batterie est sous la surveillance du programme")
         << mode;
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, &lock] {
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
        watcher->deleteLater();
        if (held_ && !reply.isError())
            lock = reply.value();
    });
}

void Awake::Release()
{
    if (held_ && !giveBack_.IsSet())
        giveBack_.Start(moment);
}

void Awake::GiveBack()
{
    held_ = false;
    idle_ = Lock();
    delay_ = Lock();
}

void Awake::PrepareForSleep(bool coming)
{
    if (coming && held_)
        Q_EMIT SleepComing();
}
