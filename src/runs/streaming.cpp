// SPDX-License-Identifier: GPL-3.0-or-later
#include "streaming.h"

#include "base/messages.h"
#include "base/title.h"

#include <QWidget>

bool MonitorKeepsLine(QWidget *over, const Session &session)
{
    if (session.Streaming)
        messages::Show(over, QMessageBox::Warning, title::Of(*over),
                       QStringLiteral("Le moniteur garde la liaison pour lui seul : fermez-le d'abord."));
    return session.Streaming;
}
