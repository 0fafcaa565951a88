// SPDX-License-Identifier: GPL-3.0-or-later
#include "runnotice.h"

#include "runwords.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QVariantMap>

namespace {
/// What the user has done himself is no news to him.
bool IsNews(RunEnd::How how)
{
    return how == RunEnd::How::Rule || how == RunEnd::How::Cause || how == RunEnd::How::Error;
}

/// Bodies are read as markup.
QString Plain(QString text)
{
    return text.replace(u'&', QStringLiteral("&amp;")).replace(u'<', QStringLiteral("&lt;"));
}
} // namespace

RunNotice::RunNotice(const RunProgress &progress, QObject *parent) : QObject(parent), progress_(progress)
{
    connect(&progress.Run(), &RunNews::Over, this, &RunNotice::Tell);
}

void RunNotice::Tell(const RunEnd &end)
{
    if (!IsNews(end.how))
        return;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QStringList body;
    if (!end.why.isEmpty())
        body.append(Plain(end.why));
    body.append(progress_.Text());
    const uchar urgency = end.how == RunEnd::How::Rule ? 1 : 2; // normal, critical
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    call << QStringLiteral("Voltaire") << 0U /* takes no other's place */ << QStringLiteral("battery")
         << runwords::Ended(progress_.Run().What(), end.how) << body.join(u'\n') << QStringList() /* no actions */
         << QVariantMap{{QStringLiteral("urgency"), QVariant::fromValue(urgency)}} << -1 /* as long as usual */;
    bus.asyncCall(call);
}
