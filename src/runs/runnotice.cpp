// SPDX-License-Identifier: GPL-3.0-or-later
#include "runnotice.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QVariantMap>

namespace {
QString Name(RunNews::Kind kind)
{
    switch (kind) {
    case RunNews::Kind::Charge:
        return QStringLiteral("Charge");
    case RunNews::Kind::Discharge:
        return QStringLiteral("Décharge");
    case RunNews::Kind::Capacity:
        return QStringLiteral("Mesure de capacité");
    }
    return {};
}

/// Empty for an end that the user knows of.
QString Said(RunEnd::How how)
{
    switch (how) {
    case RunEnd::How::Rule:
        return QStringLiteral(" terminée");
    case RunEnd::How::Cause:
        return QStringLiteral(" arrêtée");
    case RunEnd::How::Error:
        return QStringLiteral(" interrompue");
    case RunEnd::How::Stop:
    case RunEnd::How::Left:
    case RunEnd::How::Restart:
        return {};
    }
    return {};
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
    const QString said = Said(end.how);
    if (said.isEmpty())
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
         << Name(progress_.Run().What()) + said << body.join(u'\n') << QStringList() /* no actions */
         << QVariantMap{{QStringLiteral("urgency"), QVariant::fromValue(urgency)}} << -1 /* as long as usual */;
    bus.asyncCall(call);
}
