// SPDX-License-Identifier: GPL-3.0-or-later
#include "linkstatus.h"

#include <QFileInfo>

namespace {
constexpr int widestName = 150; // pixels; of a longer one, the middle is left out
}

LinkStatus::LinkStatus(const Codebas &link, QWidget *parent) : ElidedLabel(parent, Qt::ElideMiddle), link_(link)
{
    setObjectName(QStringLiteral("link"));
    connect(&link_.com, &Com::Changed, this, &LinkStatus::Show);
    connect(&link_, &Codebas::BoardStreamsChanged, this, &LinkStatus::Show);
    connect(&link_.handshake, &Handshake::Greeting, this, [this](bool begins) {
        greeting_ = begins;
        connected_ = connected_ && !begins;
        Show();
    });
    connect(&link_.handshake, &Handshake::Connected, this, [this] {
        connected_ = true;
        Show();
    });
    Show();
}

QString LinkStatus::State() const
{
    if (link_.com.Lost())
        return QStringLiteral("débranché");
    if (!link_.com.PortOpen())
        return link_.LinkDropped ? QStringLiteral("déconnecté") : QStringLiteral("port fermé");
    if (greeting_)
        return QStringLiteral("appel de la carte");
    if (link_.BoardStreams)
        return QStringLiteral("la carte émet");
    return connected_ ? QStringLiteral("connecté") : QStringLiteral("port ouvert");
}

void LinkStatus::Show()
{
    const QString name = link_.com.PortName();
    setText(QStringLiteral("%1 · %2 bauds · %3")
                .arg(fontMetrics().elidedText(QFileInfo(name).fileName(), Qt::ElideMiddle, widestName),
                     link_.com.Settings().section(u',', 0, 0), State()));
    setToolTip(QStringLiteral("Port %1\n%2").arg(name, text()));
    Q_EMIT Changed();
}
