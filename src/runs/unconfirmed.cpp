// SPDX-License-Identifier: GPL-3.0-or-later
#include "unconfirmed.h"

#include "warning.h"

#include <QLabel>

QLabel *UnconfirmedWarning(Outputs &outputs, QWidget *parent)
{
    QLabel *warning = RedWarning(QStringLiteral("Arrêt non confirmé"), parent);
    warning->setObjectName(QStringLiteral("unconfirmed"));
    QObject::connect(&outputs, &Outputs::UnconfirmedChanged, warning, &QLabel::setVisible);
    return warning;
}

void ShowUnconfirmed(Outputs &outputs, const QLabel *state)
{
    QWidget *frame = state->parentWidget();
    PutOnTitleLine(UnconfirmedWarning(outputs, frame->parentWidget()), frame);
}
