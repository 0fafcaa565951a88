#include "streaming.h"

#include "base/messages.h"

#include <QWidget>

bool MonitorKeepsLine(QWidget *over, const Session &session)
{
    if (session.Streaming)
        messages::Show(over, QMessageBox::Warning, over->windowTitle(),
                       QStringLiteral("Le moniteur garde la liaison pour lui seul : fermez-le d'abord."));
    return session.Streaming;
}
